#include <Quarn/platform/SystemError_p.h>

#include <cerrno>

namespace kel {
namespace systemError {

const int notThere = ENOENT;
const int alreadyThere = EEXIST;
const int isFolder = EISDIR;
const int isNoFolder = ENOTDIR;
const int intoItself = EINVAL;
const int changed = EBUSY;
const int notSupported = EOPNOTSUPP;
const int notPermitted = EPERM;
const int noRoom = ENOSPC;

bool isNoRoom(int error)
{
    return error == ENOSPC || error == EDQUOT;
}

bool isOtherFileSystem(int error)
{
    return error == EXDEV;
}

} // namespace systemError
} // namespace kel
