# For Doxygen: turns the pages, which are to be read in the repository as well, into its own form.
# Names of classes in code spans become links; so do the examples.
s/`(kel::[A-Za-z:]*(\(\))?)`/\1/g
s/`(kelm[A-Z][A-Za-z]*)`/::\1/g
s|\[([^]]*)\]\(\.\./examples/([^)]*/main\.cpp)\)|\\ref \2 "\1"|g
