#include <Quarn/platform/SpillFile_p.h>

#include <Quarn/platform/SystemPath_p.h>
#include <Quarn/platform/windows/SystemPath_p.h>

#include <QDir>
#include <QUuid>

#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <string>

namespace kel {
namespace {

constexpr qint64 largestTransfer = 1 << 30;

QString reasonOf(DWORD error)
{
    return qt_error_string(int(error));
}

OVERLAPPED at(qint64 position)
{
    OVERLAPPED place = {};
    place.Offset = DWORD(quint64(position) & 0xffffffffU);
    place.OffsetHigh = DWORD(quint64(position) >> 32);
    return place;
}

/** Has \a step transfer it all, a part at a time; step(data, size, count, place) as ReadFile(). */
template <typename Bytes, typename Step>
bool transfer(qint64 position, Bytes data, qint64 size, QString* reason, Step step)
{
    while (size > 0) {
        OVERLAPPED place = at(position);
        DWORD count = 0;
        if (!step(data, DWORD(std::min(size, largestTransfer)), &count, &place) || count == 0) {
            const DWORD error = ::GetLastError();
            *reason = reasonOf(error != ERROR_SUCCESS ? error : DWORD(ERROR_HANDLE_EOF));
            return false;
        }
        position += count;
        data += count;
        size -= count;
    }
    return true;
}

} // namespace

struct SpillFile::Handle
{
    explicit Handle(HANDLE handle) : file(handle) { }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { ::CloseHandle(file); }

    const HANDLE file;
};

SpillFile::SpillFile() = default;
SpillFile::~SpillFile() = default;

bool SpillFile::isOpen() const
{
    return m_handle != nullptr;
}

bool SpillFile::open(const QString& folder, QString* reason)
{
    if (folder.isEmpty() || !hasSystemForm(folder)) { // not the working folder
        *reason = reasonOf(ERROR_PATH_NOT_FOUND);
        return false;
    }
    const QString name = QStringLiteral("Quarn-") + QUuid::createUuid().toString(QUuid::Id128);
    const std::wstring path = systemPath(QDir(folder).filePath(name));
    const HANDLE file
        = ::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                        FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        *reason = reasonOf(::GetLastError());
        return false;
    }
    m_handle.reset(new Handle(file));
    DWORD returned = 0;
    // Without this release() fills with zeros instead of giving back, which is as right.
    ::DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
    return true;
}

bool SpillFile::write(qint64 position, const char* data, qint64 size, QString* reason)
{
    return transfer(position, data, size, reason,
                    [this](const char* from, DWORD part, DWORD* count, OVERLAPPED* place) {
                        return ::WriteFile(m_handle->file, from, part, count, place);
                    });
}

bool SpillFile::read(qint64 position, char* data, qint64 size, QString* reason) const
{
    return transfer(position, data, size, reason,
                    [this](char* to, DWORD part, DWORD* count, OVERLAPPED* place) {
                        return ::ReadFile(m_handle->file, to, part, count, place);
                    });
}

void SpillFile::release(qint64 position, qint64 size)
{
    FILE_ZERO_DATA_INFORMATION range = {};
    range.FileOffset.QuadPart = position;
    range.BeyondFinalZero.QuadPart = position + size;
    DWORD returned = 0;
    ::DeviceIoControl(m_handle->file, FSCTL_SET_ZERO_DATA, &range, sizeof range, nullptr, 0,
                      &returned, nullptr);
}

} // namespace kel
