#include <Quarn/platform/linux/NewFile_p.h>

#include <QRandomGenerator>

#include <sys/xattr.h>
#include <unistd.h>

namespace kel {

QByteArray newName(const char* prefix)
{
    return prefix + QByteArray::number(QRandomGenerator::system()->generate64(), 16);
}

bool shareAs(const struct stat& other, int file, mode_t permissions)
{
    constexpr uid_t sameOwner = uid_t(-1);
    struct stat own;
    const bool isRight
        = ::fstat(file, &own) == 0 && own.st_uid == other.st_uid && own.st_gid == other.st_gid;
    const bool ofItsGroup = isRight || ::fchown(file, other.st_uid, other.st_gid) == 0
                            || ::fchown(file, sameOwner, other.st_gid) == 0;
    return ::fchmod(file, other.st_mode & permissions & (ofItsGroup ? 0777 : 0707)) == 0;
}

bool removeInheritedAccess(int file, bool isFolder)
{
    // Where there is none, systems and sandboxes differ in what they say of its removal.
    const auto isGone = [file](const char* list) {
        return ::fremovexattr(file, list) == 0 || ::fgetxattr(file, list, nullptr, 0) < 0;
    };
    return isGone("system.posix_acl_access") && (!isFolder || isGone("system.posix_acl_default"));
}

} // namespace kel
