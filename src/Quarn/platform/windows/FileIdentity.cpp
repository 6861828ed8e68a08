#include <Quarn/platform/FileIdentity_p.h>

#include <Quarn/platform/windows/SystemPath_p.h>

#include <windows.h>

namespace kel {

QByteArray fileIdentity(const QString& path)
{
    const std::wstring name = systemPath(path);
    // Backup semantics are what lets a folder be opened.
    const HANDLE handle = ::CreateFileW(
        name.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return QByteArray();
    BY_HANDLE_FILE_INFORMATION information;
    const bool known = ::GetFileInformationByHandle(handle, &information);
    ::CloseHandle(handle);
    if (!known)
        return QByteArray();
    return QByteArray::number(quint64(information.dwVolumeSerialNumber)) + ':'
           + QByteArray::number(quint64(information.nFileIndexHigh)) + ':'
           + QByteArray::number(quint64(information.nFileIndexLow));
}

} // namespace kel
