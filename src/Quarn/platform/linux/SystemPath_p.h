#ifndef QUARN_PLATFORM_LINUX_SYSTEMPATH_P_H
#define QUARN_PLATFORM_LINUX_SYSTEMPATH_P_H

#include <QByteArray>

class QString;

namespace kel {

/** \a path for the system; empty, which names nothing, for one that has no such form. */
QByteArray systemPath(const QString& path);

} // namespace kel
#endif
