#include <Quarn/platform/linux/FreeRename_p.h>

#include <Quarn/platform/linux/SystemCalls_p.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace kel {
namespace {

/** The same in two steps, of which the first takes the name; for what can have two names. */
int linkAndUnlink(int fromFolder, const char* from, int toFolder, const char* to)
{
    if (::linkat(fromFolder, from, toFolder, to, 0) != 0)
        return errno;
    if (::unlinkat(fromFolder, from, 0) == 0)
        return 0;
    const int error = errno;
    ::unlinkat(toFolder, to, 0);
    return error;
}

} // namespace

int renameToFreeName(int fromFolder, const char* from, int toFolder, const char* to)
{
    if (::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (!isOneOf(errno, {EINVAL, ENOSYS}))
        return errno;
    // Some file systems cannot do that.
    struct stat status;
    if (::fstatat(fromFolder, from, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno;
    const bool folder = S_ISDIR(status.st_mode);
    const int error = folder ? EPERM : linkAndUnlink(fromFolder, from, toFolder, to);
    if (!isOneOf(error, {EPERM, EOPNOTSUPP, ENOSYS}))
        return error;
    // Nor have they links, or none to a folder: a moment is left for somebody to take the name in.
    if (::fstatat(toFolder, to, &status, AT_SYMLINK_NOFOLLOW) == 0)
        return EEXIST;
    return ::renameat(fromFolder, from, toFolder, to) == 0 ? 0 : errno;
}

} // namespace kel
