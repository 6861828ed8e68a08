#ifndef RELAY_COMPLETIONS_H
#define RELAY_COMPLETIONS_H

#include <QString>

// What shells complete of the program's options and their values, from CommandLineText.

QString bashCompletion();
QString zshCompletion();

#endif
