#ifndef QUARN_PLATFORM_FILEIDENTITY_P_H
#define QUARN_PLATFORM_FILEIDENTITY_P_H

#include <QByteArray>

class QString;

namespace kel {

/**
 * What tells the file or folder at \a path from all others at the moment. Two paths that lead to
 * the same one have the same identity, over symbolic or hard links and mounts too. Empty when there
 * is nothing at \a path, when it may not be looked at, and for paths that are none of the system's,
 * such as those of resources.
 */
QByteArray fileIdentity(const QString& path);

} // namespace kel
#endif
