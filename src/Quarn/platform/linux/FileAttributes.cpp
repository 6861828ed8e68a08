#include <Quarn/platform/linux/FileAttributes_p.h>

#include <Quarn/platform/linux/CommentSidecar_p.h>
#include <Quarn/platform/linux/NewFile_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace kel {
namespace {

constexpr std::string_view comment = "user.xdg.comment";

/** Whether the target's file system, or its owner's rights, have no place for an attribute. */
bool isBeyondTarget(int error)
{
    return isOneOf(error, {ENOTSUP, ENOSYS, EPERM, EINVAL});
}

/** The others are the system's own: labels, which the new place decides. */
bool isCopied(std::string_view name)
{
    const auto begins
        = [name](std::string_view start) { return name.substr(0, start.size()) == start; };
    return begins("user.") || begins("trusted.") || begins("system.posix_acl_")
           || name == "security.capability";
}

} // namespace

FileAttributes::FileAttributes() : m_isRoot(::geteuid() == 0), m_names(XATTR_LIST_MAX) { }

int FileAttributes::copy(int source, const struct stat& status, int target)
{
    m_commentLeft.clear();
    mode_t mode = status.st_mode & 07777;
    // The first takes away permissions and capabilities, so it comes first.
    const bool isOwnerKept = m_isRoot || status.st_uid == ::geteuid();
    if (::fchown(target, m_isRoot ? status.st_uid : uid_t(-1), status.st_gid) != 0) {
        if (!isBeyondTarget(errno))
            return errno;
        mode &= ~mode_t(S_ISGID);
    }
    if (!isOwnerKept)
        mode &= ~mode_t(S_ISUID);
    if (!removeInheritedAccess(target, S_ISDIR(status.st_mode)))
        return errno;
    const int error = copyExtended(source, target);
    if (error != 0)
        return error;
    if (::fchmod(target, mode) != 0 && !isBeyondTarget(errno))
        return errno;
    const timespec times[] = {status.st_atim, status.st_mtim};
    return ::futimens(target, times) == 0 || isBeyondTarget(errno) ? 0 : errno;
}

int FileAttributes::copyNamed(const struct stat& status, int folder, const char* name)
{
    m_commentLeft.clear();
    if (::fchownat(folder, name, m_isRoot ? status.st_uid : uid_t(-1), status.st_gid,
                   AT_SYMLINK_NOFOLLOW)
            != 0
        && !isBeyondTarget(errno))
        return errno;
    const timespec times[] = {status.st_atim, status.st_mtim};
    return ::utimensat(folder, name, times, AT_SYMLINK_NOFOLLOW) == 0 || isBeyondTarget(errno)
               ? 0
               : errno;
}

int FileAttributes::copyExtended(int source, int target)
{
    const ssize_t size = ::flistxattr(source, m_names.data(), m_names.size());
    if (size < 0)
        return isBeyondTarget(errno) ? 0 : errno;
    for (ssize_t at = 0; at < size; at += ssize_t(std::strlen(&m_names[std::size_t(at)])) + 1) {
        const char* const name = &m_names[std::size_t(at)];
        const int error = isCopied(name) ? copyExtended(source, target, name) : 0;
        if (error != 0)
            return error;
    }
    return 0;
}

int FileAttributes::copyExtended(int source, int target, const char* name)
{
    m_value.resize(XATTR_SIZE_MAX);
    const ssize_t size = ::fgetxattr(source, name, m_value.data(), m_value.size());
    if (size < 0)
        return errno == ENODATA || isBeyondTarget(errno) ? 0 : errno; // it went meanwhile
    if (::fsetxattr(target, name, m_value.data(), std::size_t(size), 0) == 0)
        return 0;
    const int error = errno;
    if (name == comment && (isBeyondTarget(error) || CommentSidecar::standsInAfter(error))) {
        m_commentLeft = QByteArray(m_value.data(), int(size));
        return 0;
    }
    return isBeyondTarget(error) ? 0 : error;
}

} // namespace kel
