#include <Quarn/platform/SystemError_p.h>

#include <windows.h>

namespace kel {
namespace systemError {

namespace {

// Some headers lack them.
constexpr int directoryNotSupported = 336;
constexpr int quotaExceeded = 1295;

} // namespace

const int notThere = ERROR_FILE_NOT_FOUND;
const int alreadyThere = ERROR_ALREADY_EXISTS;
const int isFolder = directoryNotSupported;
const int isNoFolder = ERROR_DIRECTORY;
const int intoItself = ERROR_INVALID_PARAMETER;
const int changed = ERROR_BUSY;
const int notSupported = ERROR_NOT_SUPPORTED;
const int notPermitted = ERROR_ACCESS_DENIED;
const int noRoom = ERROR_DISK_FULL;

bool isNoRoom(int error)
{
    return error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL || error == quotaExceeded;
}

bool isOtherFileSystem(int error)
{
    return error == ERROR_NOT_SAME_DEVICE;
}

} // namespace systemError
} // namespace kel
