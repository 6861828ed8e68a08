# For Doxygen: leaves out what is private, and gives copying and assigning a text where the header
# leaves it at the declaration.
/^private:/,/^};/{
/^};/!s/.*//
}
/\*\/ *$/{
n
b
}
s|^ *\([A-Za-z]*\)(const \1&[a-z ]*)\( = default\)\{0,1\};|/** Copies \\a other. */ &|
s|^ *\([A-Za-z]*\)& operator=(const \1&[a-z ]*)\( = default\)\{0,1\};|/** Copies \\a other. */ &|
