#ifndef QUARN_PLATFORM_SYSTEMPATH_P_H
#define QUARN_PLATFORM_SYSTEMPATH_P_H

#include <QString>

namespace kel {

/**
 * Whether \a path can be given to the system. One with a zero character cannot: the system would
 * take what stands in front of that, which may name another file, and so does QFile::open().
 */
inline bool hasSystemForm(const QString& path)
{
    return !path.contains(QChar(QChar::Null));
}

} // namespace kel
#endif
