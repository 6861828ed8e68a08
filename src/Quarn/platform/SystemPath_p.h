#ifndef QUARN_PLATFORM_SYSTEMPATH_P_H
#define QUARN_PLATFORM_SYSTEMPATH_P_H

class QString;

namespace kel {

/**
 * Whether \a path can be given to the system. One with a zero character cannot: the system would
 * take what stands in front of that, which may name another file, and so does QFile::open().
 */
bool hasSystemForm(const QString& path);

} // namespace kel
#endif
