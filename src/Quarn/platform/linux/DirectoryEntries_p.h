#ifndef QUARN_PLATFORM_LINUX_DIRECTORYENTRIES_P_H
#define QUARN_PLATFORM_LINUX_DIRECTORYENTRIES_P_H

#include <QByteArray>

#include <sys/types.h>

#include <vector>

namespace kel {

struct DirectoryEntry
{
    QByteArray name;
    mode_t type; ///< as S_IFDIR; 0 when it is not known
};

/**
 * Appends to \a entries what is in the open \a folder, but for "." and "..".
 *
 * \return 0, or the error number of what ended the list early
 */
int listDirectory(int folder, std::vector<DirectoryEntry>& entries);

} // namespace kel
#endif
