#include "platform/InputSource.h"

#include "platform/StopSwitch.h"

#include <algorithm>
#include <thread>
#include <vector>

#include <io.h>
#include <windows.h>

namespace {

QString reasonOf(DWORD error)
{
    return qt_error_string(int(error));
}

bool isEnd(DWORD error)
{
    return error == ERROR_SUCCESS || error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF;
}

/** One read; its error, ERROR_SUCCESS without bytes at the end. */
DWORD readOnce(HANDLE handle, char* data, DWORD maxSize, DWORD* count)
{
    const bool isPipe = ::GetFileType(handle) == FILE_TYPE_PIPE;
    for (;;) {
        ::SetLastError(ERROR_SUCCESS);
        const bool done = ::ReadFile(handle, data, maxSize, count, nullptr);
        const DWORD error = ::GetLastError();
        if (!done)
            return error;
        // A writer may write nothing to a pipe, and Ctrl+C ends a read from a console.
        if (*count > 0 || (!isPipe && error != ERROR_OPERATION_ABORTED))
            return ERROR_SUCCESS;
    }
}

/** \brief A handle of the system's, closed with the object. */
class Handle
{
public:
    explicit Handle(HANDLE handle) : m_handle(handle) { }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle()
    {
        if (m_handle)
            ::CloseHandle(m_handle);
    }

    HANDLE get() const { return m_handle; }

private:
    const HANDLE m_handle;
};

HANDLE newEvent()
{
    return ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

HANDLE duplicate(HANDLE handle)
{
    const HANDLE process = ::GetCurrentProcess();
    HANDLE copy = nullptr;
    return ::DuplicateHandle(process, handle, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS)
               ? copy
               : nullptr;
}

/** \brief Reads ahead, one block at a time: its fields belong to whom the last event told so. */
struct ReadAhead
{
    explicit ReadAhead(HANDLE handle) : input(duplicate(handle)) { }

    bool isUsable() const { return input.get() && wanted.get() && arrived.get(); }

    const Handle input; // stays open as long as a read of it may last
    const Handle wanted{newEvent()};
    const Handle arrived{newEvent()};
    std::vector<char> block = std::vector<char>(64 * 1024);
    DWORD count = 0;
    DWORD error = ERROR_SUCCESS;
    std::atomic<bool> abandoned{false};
};

} // namespace

/**
 * A read of a pipe or a console cannot be ended, so it has a thread of its own, which nobody waits
 * for: it ends with its read, or with the process.
 */
struct InputSource::Waiting
{
    explicit Waiting(HANDLE handle) : ahead(std::make_shared<ReadAhead>(handle))
    {
        if (!ahead->isUsable())
            return;
        std::thread([shared = ahead] {
            while (::WaitForSingleObject(shared->wanted.get(), INFINITE) == WAIT_OBJECT_0
                   && !shared->abandoned) {
                shared->error = readOnce(shared->input.get(), shared->block.data(),
                                         DWORD(shared->block.size()), &shared->count);
                ::SetEvent(shared->arrived.get());
            }
        }).detach();
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting()
    {
        ahead->abandoned = true;
        ::SetEvent(ahead->wanted.get());
    }

    /** Waits until there is a byte, the end or an error; false when stopped. */
    bool fill(const StopSwitch& stop)
    {
        if (taken < ahead->count)
            return true;
        ::SetEvent(ahead->wanted.get());
        const HANDLE events[] = {reinterpret_cast<HANDLE>(stop.waitable()), ahead->arrived.get()};
        taken = 0;
        return ::WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0 + 1;
    }

    const std::shared_ptr<ReadAhead> ahead;
    DWORD taken = 0; // of the block
};

InputSource::InputSource(QFile& file, const StopSwitch& stop) : m_file(file), m_stop(stop) { }

InputSource::~InputSource() = default;

QString InputSource::open(const QString& path)
{
    const QIODevice::OpenMode mode = QIODevice::ReadOnly | QIODevice::Unbuffered;
    const bool opened = path == QLatin1String("-")
                            ? m_file.open(0, mode, QFileDevice::DontCloseHandle)
                            : m_file.open(mode);
    if (!opened)
        return m_file.errorString();
    const auto handle = reinterpret_cast<HANDLE>(::_get_osfhandle(m_file.handle()));
    if (handle == INVALID_HANDLE_VALUE)
        return reasonOf(ERROR_INVALID_HANDLE);
    if (::GetFileType(handle) == FILE_TYPE_DISK)
        return {};
    m_waiting = std::make_unique<Waiting>(handle);
    return m_waiting->ahead->isUsable() ? QString() : reasonOf(ERROR_NO_SYSTEM_RESOURCES);
}

qint64 InputSource::read(char* data, qint64 maxSize, QString* reason)
{
    if (m_stop.stopped() || maxSize <= 0 || (m_waiting && !m_waiting->fill(m_stop)))
        return 0;
    DWORD count = 0;
    DWORD error = ERROR_SUCCESS;
    if (m_waiting) {
        const ReadAhead& ahead = *m_waiting->ahead;
        count = DWORD(std::min<qint64>(ahead.count - m_waiting->taken, maxSize));
        error = ahead.error;
        std::copy_n(ahead.block.data() + m_waiting->taken, count, data);
        m_waiting->taken += count;
    } else {
        error = readOnce(reinterpret_cast<HANDLE>(::_get_osfhandle(m_file.handle())), data,
                         DWORD(std::min<qint64>(maxSize, 1 << 30)), &count);
    }
    if (count > 0 || isEnd(error))
        return count;
    *reason = reasonOf(error);
    return -1;
}
