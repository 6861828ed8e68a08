# For Doxygen: leaves out what is private and what only Qt calls, and gives copying and assigning a text
# where the header leaves it at the declaration.
/^private:/,/^};/{
/^};/!s/.*//
}
/\*\/ *$/{
n
b
}
s/^ *[a-z0-9]+ (readData|readLineData|writeData|event|connectNotify|disconnectNotify)\(.*\) override;$//
s|^ *([A-Za-z]+)\(const \1&[a-z ]*\)( = default)?;|/** Copies \\a other. */ &|
s|^ *([A-Za-z]+)& operator=\(const \1&[a-z ]*\)( = default)?;|/** Copies \\a other. */ &|
