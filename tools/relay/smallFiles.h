#ifndef RELAY_SMALLFILES_H
#define RELAY_SMALLFILES_H

#include <QByteArray>

class QString;

/**
 * All of the small file at \a path, a \a kind of file that must not be empty; a pipe will do, too.
 * No other copy of it is left in memory.
 *
 * Throws kel::IOException with a message for the user.
 */
QByteArray contentsOf(const QString& kind, const QString& path);

#endif
