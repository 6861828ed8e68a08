#include <Quarn/platform/FileWatch_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>

namespace kel {
namespace {

constexpr int longestMsecs = 1000;
constexpr int blindMsecs = 100; // when the system has no more descriptors or watches

} // namespace

struct FileWatch::Handles
{
    FileDescriptor events{::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
    const FileDescriptor wakeUp{::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
    std::atomic<bool> woken{false};
    bool sees = false;
};

FileWatch::FileWatch(int file) : m_handles(std::make_unique<Handles>())
{
    char path[40]; // of the open file itself: its name may lead to another one by now
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", file);
    // A file that loses its last name changes its attributes.
    m_handles->sees
        = m_handles->wakeUp.isOpen()
          && ::inotify_add_watch(m_handles->events.get(), path, IN_MODIFY | IN_ATTRIB) >= 0;
}

FileWatch::~FileWatch() = default;

void FileWatch::wait(int msecs)
{
    if (m_handles->woken)
        return;
    pollfd asked[] = {{m_handles->events.get(), POLLIN, 0}, {m_handles->wakeUp.get(), POLLIN, 0}};
    ::poll(asked, 2, std::min(msecs, m_handles->sees ? longestMsecs : blindMsecs));
    alignas(inotify_event) char events[4096];
    while (asked[0].revents != 0 && ::read(m_handles->events.get(), events, sizeof events) > 0) { }
}

void FileWatch::wake()
{
    m_handles->woken = true;
    const std::uint64_t one = 1; // never taken out again
    (void)!::write(m_handles->wakeUp.get(), &one, sizeof one);
}

} // namespace kel
