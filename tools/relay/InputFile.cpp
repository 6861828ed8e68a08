#include "InputFile.h"

#include "Console.h"
#include "StopSwitch.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

InputFile::InputFile(const QString& path, const StopSwitch& stop)
    : FileStream(path), m_path(path), m_stop(stop)
{ }

bool InputFile::openInput()
{
    const bool standardInput = m_path == QLatin1String("-");
    // Without O_NONBLOCK the open of a named pipe would wait for its writer, and nothing ends that.
    const int descriptor = standardInput ? STDIN_FILENO
                                         : ::open(QFile::encodeName(m_path).constData(),
                                                  O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    struct stat status = {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0)
        return refuse(systemReason(errno));
    const FileHandleFlags handling
        = standardInput ? QFileDevice::DontCloseHandle : QFileDevice::AutoCloseHandle;
    if (!QFile::open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, handling))
        return refuse(errorString());
    return S_ISDIR(status.st_mode) ? refuse(systemReason(EISDIR)) : true;
}

qint64 InputFile::expectedSize() const
{
    // The files of /proc and the like claim to be empty, whatever they hold.
    const qint64 rest = isSequential() ? 0 : size() - pos();
    return rest > 0 ? rest : -1;
}

QString InputFile::failure() const
{
    if (!m_refusal.isEmpty())
        return m_refusal;
    return ioFailureDetected() ? QStringLiteral("cannot read %1: %2").arg(name(), errorString())
                               : QString();
}

QString InputFile::name() const
{
    return nameOf(m_path);
}

QString InputFile::nameOf(const QString& path)
{
    return path == QLatin1String("-") ? QStringLiteral("standard input") : path;
}

qint64 InputFile::readData(char* data, qint64 maxSize)
{
    return nonBlocking() ? readAvailable(data, maxSize) : FileStream::readData(data, maxSize);
}

const StopSwitch& InputFile::stopSwitch() const
{
    return m_stop;
}

bool InputFile::refuse(const QString& reason)
{
    m_refusal = QStringLiteral("cannot read %1: %2").arg(name(), reason);
    return false;
}

QString InputFile::path() const
{
    return m_path;
}

/**
 * One read of what is there, not repeated until all of \a maxSize is. Only the system says where the
 * end is: the size of a file, when it can't be asked for, looks like an empty one's.
 */
qint64 InputFile::readAvailable(char* data, qint64 maxSize)
{
    while (maxSize > 0 && m_stop.waitForInput(handle())) {
        const ssize_t count = ::read(handle(), data, std::size_t(maxSize));
        if (count >= 0)
            return count;
        if (errno != EINTR && errno != EAGAIN) {
            setErrorString(systemReason(errno));
            return -1;
        }
    }
    return 0;
}
