#ifndef QUARN_PLATFORM_WINDOWS_OPENFOLDERHANDLE_P_H
#define QUARN_PLATFORM_WINDOWS_OPENFOLDERHANDLE_P_H

#include <Quarn/platform/OpenFolder_p.h>

#include <windows.h>

#include <memory>
#include <string>

namespace kel {

struct CloseHandle
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { ::CloseHandle(handle); }
};
using FileHandle = std::unique_ptr<HANDLE, CloseHandle>;

/** Null, not INVALID_HANDLE_VALUE, when it could not be opened. */
FileHandle openHandle(const std::wstring& path, DWORD access, DWORD share, DWORD flags);

/** Of the call that has just failed; systemError has one number where Windows has several. */
int lastSystemError();

/**
 * As long as it is open, nobody can rename, delete or replace the folder or one that it is in, since
 * deleting is not shared; so its path stays true.
 */
struct OpenFolder::Handle
{
    FileHandle folder;
    std::wstring path; // of any length

    std::wstring pathOf(const SystemName& name) const
    {
        return path.back() == L'\\' ? path + name : path + L'\\' + name;
    }
};

} // namespace kel
#endif
