#ifndef QUARN_PLATFORM_LINUX_FOLDERREMOVAL_P_H
#define QUARN_PLATFORM_LINUX_FOLDERREMOVAL_P_H

class QByteArray;

namespace kel {

/** removeAll() of the entry \a name of an open folder. */
int removeAll(int folder, const QByteArray& name);

} // namespace kel
#endif
