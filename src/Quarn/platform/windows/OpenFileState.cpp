#include <Quarn/platform/OpenFileState_p.h>

#include <windows.h>

#include <io.h>

namespace kel {

OpenFileState openFileState(int file)
{
    FILE_STANDARD_INFO information;
    const auto handle = reinterpret_cast<HANDLE>(::_get_osfhandle(file));
    if (!::GetFileInformationByHandleEx(handle, FileStandardInfo, &information, sizeof information))
        return OpenFileState();
    return OpenFileState{true, information.DeletePending || information.NumberOfLinks == 0,
                         information.EndOfFile.QuadPart};
}

} // namespace kel
