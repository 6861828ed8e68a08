#include <Quarn/platform/OpenFileState_p.h>

#include <sys/stat.h>

namespace kel {

OpenFileState openFileState(int file)
{
    struct stat status;
    if (::fstat(file, &status) != 0)
        return OpenFileState();
    return OpenFileState{true, status.st_nlink == 0, status.st_size};
}

} // namespace kel
