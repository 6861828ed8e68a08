#include <Quarn/platform/FileWatch_p.h>

#include <windows.h>

#include <algorithm>

namespace kel {
namespace {

// Growth is reported with the folder, and only once the writer closes the file: look often.
constexpr int longestMsecs = 100;

} // namespace

struct FileWatch::Handles
{
    const HANDLE wakeUp = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
};

FileWatch::FileWatch(int) : m_handles(std::make_unique<Handles>()) { }

FileWatch::~FileWatch()
{
    if (m_handles->wakeUp)
        ::CloseHandle(m_handles->wakeUp);
}

void FileWatch::wait(int msecs)
{
    const int bounded = std::clamp(msecs, 0, longestMsecs);
    if (m_handles->wakeUp)
        ::WaitForSingleObject(m_handles->wakeUp, DWORD(bounded));
    else
        ::Sleep(DWORD(bounded));
}

void FileWatch::wake()
{
    if (m_handles->wakeUp)
        ::SetEvent(m_handles->wakeUp);
}

} // namespace kel
