#include <Quarn/platform/TargetFile_p.h>

#include <Quarn/platform/SystemPath_p.h>
#include <Quarn/platform/windows/SystemPath_p.h>

#include <windows.h>

#include <io.h>

namespace kel {
namespace {

/** A handle of the file at \a path that neither reads nor writes nor keeps others out. */
HANDLE lookAt(const QString& path)
{
    return ::CreateFileW(systemPath(path).c_str(), FILE_READ_ATTRIBUTES,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

bool isNothingThere(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND
           || error == ERROR_INVALID_NAME;
}

/** Whether both may be one file on a disk, as far as can be found out. */
bool mayBeOne(HANDLE left, HANDLE right)
{
    if (::GetFileType(left) != FILE_TYPE_DISK || ::GetFileType(right) != FILE_TYPE_DISK)
        return false;
    BY_HANDLE_FILE_INFORMATION one;
    BY_HANDLE_FILE_INFORMATION other;
    if (!::GetFileInformationByHandle(left, &one) || !::GetFileInformationByHandle(right, &other))
        return true;
    return one.dwVolumeSerialNumber == other.dwVolumeSerialNumber
           && one.nFileIndexHigh == other.nFileIndexHigh
           && one.nFileIndexLow == other.nFileIndexLow;
}

bool mayBe(const QFileDevice& source, HANDLE target)
{
    const int descriptor = source.handle();
    if (descriptor >= 0)
        return mayBeOne(reinterpret_cast<HANDLE>(::_get_osfhandle(descriptor)), target);
    const HANDLE handle = lookAt(source.fileName());
    if (handle == INVALID_HANDLE_VALUE)
        return !isNothingThere(::GetLastError());
    const bool maybe = mayBeOne(handle, target);
    ::CloseHandle(handle);
    return maybe;
}

bool mayBe(const QFileDevice& source, const QString& target)
{
    const HANDLE handle = lookAt(target);
    if (handle == INVALID_HANDLE_VALUE)
        return !isNothingThere(::GetLastError());
    const bool maybe = mayBe(source, handle);
    ::CloseHandle(handle);
    return maybe;
}

} // namespace

bool openTarget(QFile& target, QIODevice::OpenMode mode, const QFileDevice* source)
{
    if (!hasSystemForm(target.fileName()) || (source && mayBe(*source, target.fileName()))
        || !target.open(mode))
        return false;
    if (target.size() == 0 || target.resize(0)) // opening doesn't tell when it could not empty it
        return true;
    target.close();
    return false;
}

} // namespace kel
