#include <Quarn/platform/LibraryFolder_p.h>

#include <QFileInfo>

#include <vector>

#include <windows.h>

namespace kel {

QString libraryFolder()
{
    HMODULE library = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS
                             | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&libraryFolder), &library);
    std::vector<wchar_t> path(0x8000); // the longest that there is
    const DWORD length = ::GetModuleFileNameW(library, path.data(), DWORD(path.size()));
    return QFileInfo(QString::fromWCharArray(path.data(), int(length))).absolutePath();
}

} // namespace kel
