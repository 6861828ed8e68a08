#include <Quarn/platform/SystemFile_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <new>

namespace kel {
namespace {

using Outcome = SystemFile::Outcome;

constexpr int askMsecs = 50; // between two questions whether a wait goes on

/** Bytes may have been transferred, whose number must not get lost. */
QString textOf(int systemError) noexcept
{
    try {
        return qt_error_string(systemError);
    } catch (const std::bad_alloc&) {
        return QStringLiteral("Unknown error");
    }
}

Outcome failure(QFileDevice::FileError error, int systemError, qint64 count = 0)
{
    switch (systemError) {
    case EMFILE:
    case ENFILE:
    case ENOMEM:
    case ENOSPC:
    case EDQUOT:
        error = QFileDevice::ResourceError;
    }
    return Outcome{count, error, textOf(systemError)};
}

Outcome givenUp(qint64 count = 0)
{
    return failure(QFileDevice::AbortError, ECANCELED, count);
}

int systemFlags(QIODevice::OpenMode mode)
{
    const bool reads = mode & QIODevice::ReadOnly;
    const bool appends = mode & QIODevice::Append;
    const bool creates = mode & QIODevice::NewOnly;
    if (!(mode & QIODevice::WriteOnly))
        return O_RDONLY;
    int flags = reads ? O_RDWR : O_WRONLY;
    if (!(mode & QIODevice::ExistingOnly))
        flags |= O_CREAT;
    if (creates)
        flags |= O_EXCL;
    if (appends)
        flags |= O_APPEND;
    if (mode & QIODevice::Truncate || (!reads && !appends && !creates))
        flags |= O_TRUNC;
    return flags;
}

/** What a mode implies, as in QFile; not open for one that makes no sense. */
QIODevice::OpenMode completed(QIODevice::OpenMode mode)
{
    if (mode & (QIODevice::Append | QIODevice::NewOnly))
        mode |= QIODevice::WriteOnly;
    const bool contradicts = mode & QIODevice::NewOnly && mode & QIODevice::ExistingOnly;
    if (contradicts || mode & QIODevice::Text || !(mode & QIODevice::ReadWrite))
        return QIODevice::NotOpen;
    return mode;
}

/** Whether calls return at once or not at all, whatever they are asked for. */
bool needsNoWait(mode_t type)
{
    return S_ISREG(type) || S_ISBLK(type) || S_ISDIR(type);
}

/** Waits for one of \a events or a fault of the descriptor; false when that is given up. */
bool becomesReady(int descriptor, short events, SystemFile::Wait& wait)
{
    pollfd asked{descriptor, events, 0};
    int msecs = 0;
    while (retried([&] { return ::poll(&asked, 1, msecs); }) == 0) {
        if (!wait.goesOn())
            return false;
        msecs = askMsecs;
    }
    return true;
}

/** Keeps SIGPIPE, which ends programs, from this thread; those of others stay as they are. */
class BrokenPipeShield
{
public:
    BrokenPipeShield()
    {
        sigemptyset(&m_signal);
        sigaddset(&m_signal, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        m_wasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_signal, &m_before);
    }
    BrokenPipeShield(const BrokenPipeShield&) = delete;
    BrokenPipeShield& operator=(const BrokenPipeShield&) = delete;
    ~BrokenPipeShield()
    {
        const int error = errno;
        const timespec noTime{};
        if (!m_wasPending)
            retried([&] { return sigtimedwait(&m_signal, nullptr, &noTime); });
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
        errno = error;
    }

private:
    sigset_t m_signal;
    sigset_t m_before;
    bool m_wasPending;
};

/** Whether the name is flushed, if it is still there; a folder that may not be read can't be. */
bool flushedName(const QString& path)
{
    const QString file = QFileInfo(path).canonicalFilePath();
    if (file.isEmpty())
        return true;
    const QByteArray folder = QFile::encodeName(QFileInfo(file).path());
    const FileDescriptor descriptor(::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return descriptor.isOpen() ? isSynchronized(descriptor.get())
                               : isOneOf(errno, {EACCES, ENOENT});
}

} // namespace

struct SystemFile::Handle
{
    FileDescriptor file;
    bool isRegular = false;
    bool waits = false; // the descriptor is non-blocking
    QString newPath; // if the name may be new to the folder and is not flushed yet

    int get() const { return file.get(); }
};

SystemFile::SystemFile() : m_handle(std::make_unique<Handle>()) { }

SystemFile::~SystemFile() = default;

bool SystemFile::isOpen() const
{
    return m_handle->file.isOpen();
}

bool SystemFile::joinsWrites() const
{
    return m_handle->isRegular;
}

Outcome SystemFile::open(const QString& path, QIODevice::OpenMode mode, Wait& wait)
{
    mode = completed(mode);
    if (mode == QIODevice::NotOpen || path.isEmpty() || path.contains(QChar(0)))
        return failure(QFileDevice::OpenError, EINVAL);
    const QByteArray name = QFile::encodeName(path);
    struct stat status;
    const bool isThere = ::stat(name.constData(), &status) == 0;
    // Regular files are left alone: non-blocking, a lease of another program would be a failure.
    const bool waits = isThere && !needsNoWait(status.st_mode);
    const int flags = systemFlags(mode) | O_CLOEXEC | O_NOCTTY | (waits ? O_NONBLOCK : 0);
    FileDescriptor file(retried([&] { return ::open(name.constData(), flags, 0666); }));
    while (!file.isOpen() && errno == ENXIO && isThere && S_ISFIFO(status.st_mode)) {
        if (!wait.goesOn())
            return givenUp();
        ::poll(nullptr, 0, askMsecs); // the system doesn't tell when a reader comes
        file = FileDescriptor(retried([&] { return ::open(name.constData(), flags, 0666); }));
    }
    if (!file.readStatus(status))
        return failure(QFileDevice::OpenError, errno);
    if (S_ISDIR(status.st_mode))
        return failure(QFileDevice::OpenError, EISDIR);
    m_handle->isRegular = S_ISREG(status.st_mode);
    m_handle->waits = waits && !needsNoWait(status.st_mode);
    m_handle->newPath = !isThere ? path : QString();
    m_handle->file = std::move(file);
    return Outcome();
}

Outcome SystemFile::read(char* target, qint64 size, Wait& wait)
{
    qint64 count = 0;
    while (count < size) {
        // First of all: a pipe that nobody has written yet reads like one at its end.
        if (m_handle->waits && !becomesReady(m_handle->get(), POLLIN, wait))
            return givenUp(count);
        const ssize_t got = retried(
            [&] { return ::read(m_handle->get(), target + count, std::size_t(size - count)); });
        if (got == 0)
            break;
        if (got < 0 && errno != EAGAIN)
            return failure(QFileDevice::ReadError, errno, count);
        count += got > 0 ? got : 0;
    }
    return Outcome{count, QFileDevice::NoError, QString()};
}

Outcome SystemFile::write(const char* data, qint64 size, Wait& wait)
{
    qint64 count = 0;
    while (count < size) {
        const auto write
            = [&] { return ::write(m_handle->get(), data + count, std::size_t(size - count)); };
        ssize_t taken;
        if (m_handle->isRegular) {
            taken = retried(write);
        } else {
            if (m_handle->waits && !becomesReady(m_handle->get(), POLLOUT, wait))
                return givenUp(count);
            const BrokenPipeShield shield;
            taken = retried(write);
        }
        if (taken == 0) // no system says so of bytes, but if one did, this would go on forever
            return failure(QFileDevice::WriteError, EIO, count);
        if (taken < 0 && errno != EAGAIN)
            return failure(QFileDevice::WriteError, errno, count);
        count += taken > 0 ? taken : 0;
    }
    return Outcome{count, QFileDevice::NoError, QString()};
}

Outcome SystemFile::seek(qint64 position)
{
    const off_t reached = ::lseek(m_handle->get(), position, SEEK_SET);
    if (reached < 0)
        return failure(QFileDevice::PositionError, errno);
    return Outcome{reached, QFileDevice::NoError, QString()};
}

Outcome SystemFile::flush()
{
    if (!isSynchronized(m_handle->get())
        || (!m_handle->newPath.isEmpty() && !flushedName(m_handle->newPath)))
        return failure(QFileDevice::WriteError, errno);
    m_handle->newPath.clear();
    return Outcome();
}

Outcome SystemFile::close()
{
    // After EINTR the descriptor is closed all the same.
    if (::close(m_handle->file.release()) != 0 && errno != EINTR)
        return failure(QFileDevice::WriteError, errno);
    return Outcome();
}

qint64 SystemFile::remaining() const
{
    struct stat status;
    if (!m_handle->isRegular || ::fstat(m_handle->get(), &status) != 0)
        return 0;
    const off_t position = ::lseek(m_handle->get(), 0, SEEK_CUR);
    return position < 0 || position > status.st_size ? 0 : status.st_size - position;
}

} // namespace kel
