#ifndef RELAY_MANUALPAGE_H
#define RELAY_MANUALPAGE_H

#include <QString>

/** The page for man, in groff's language, from CommandLineText. */
QString manualPage();

#endif
