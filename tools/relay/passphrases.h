#ifndef RELAY_PASSPHRASES_H
#define RELAY_PASSPHRASES_H

#include "Secret.h"

class QString;

/** The first line of the file at \a path; throws kel::IOException when it can't be read. */
Secret passphraseIn(const QString& path);

/**
 * Asks on the terminal that controls the process, without an echo, for that of the key at
 * \a keyFile; throws kel::IOException where there is no terminal, or no answer.
 */
Secret askPassphrase(const QString& keyFile);

#endif
