#ifndef QUARN_PLATFORM_LINUX_OPENFOLDERHANDLE_P_H
#define QUARN_PLATFORM_LINUX_OPENFOLDERHANDLE_P_H

#include <Quarn/platform/OpenFolder_p.h>
#include <Quarn/platform/linux/FileDescriptor_p.h>

struct stat;

namespace kel {

/** A descriptor to look names up from, no more: the folder may be one that cannot be listed. */
struct OpenFolder::Handle
{
    FileDescriptor folder;

    int get() const { return folder.get(); }
};

EntryStatus entryStatus(const struct stat& status);

} // namespace kel
#endif
