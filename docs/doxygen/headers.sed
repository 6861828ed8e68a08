# For Doxygen: gives copying and assigning a text where the header leaves it at the declaration.
/\*\/ *$/{
n
b
}
s|^ *\([A-Za-z]*\)(const \1&[a-z ]*)[ =a-z]*;|/** Copies \\a other. */ &|
s|^ *\([A-Za-z]*\)& operator=(const \1&[a-z ]*)[ =a-z]*;|/** Copies \\a other. */ &|
