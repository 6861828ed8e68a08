#ifndef QUARN_PLATFORM_LINUX_DIRECTORYENTRIES_P_H
#define QUARN_PLATFORM_LINUX_DIRECTORYENTRIES_P_H

#include <Quarn/platform/linux/FileDescriptor_p.h>

#include <QByteArray>

#include <sys/types.h>

#include <functional>
#include <vector>

namespace kel {

struct DirectoryEntry
{
    QByteArray name;
    mode_t type; ///< as S_IFDIR; 0 when it is not known
};

/** Is given a name and what DirectoryEntry::type holds; answers whether to go on. */
using DirectoryVisitor = std::function<bool(const char* name, mode_t type)>;

/**
 * Shows \a visit what is in the open \a folder, but for "." and "..", and closes it.
 *
 * \return 0, or the error number of what ended the list early
 */
int visitDirectory(FileDescriptor folder, const DirectoryVisitor& visit);

/**
 * Appends to \a entries what is in the open \a folder, but for "." and "..".
 *
 * \return 0, or the error number of what ended the list early
 */
int listDirectory(int folder, std::vector<DirectoryEntry>& entries);

} // namespace kel
#endif
