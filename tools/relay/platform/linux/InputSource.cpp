#include "platform/InputSource.h"

#include "platform/StopSwitch.h"
#include "platform/systemReason.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

struct InputSource::Waiting
{ };

InputSource::InputSource(QFile& file, const StopSwitch& stop) : m_file(file), m_stop(stop) { }

InputSource::~InputSource() = default;

QString InputSource::open(const QString& path)
{
    const bool standardInput = path == QLatin1String("-");
    // Without O_NONBLOCK the open of a named pipe would wait for its writer, and nothing ends that.
    const int descriptor = standardInput ? STDIN_FILENO
                                         : ::open(QFile::encodeName(path).constData(),
                                                  O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    struct stat status = {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0)
        return systemReason(errno);
    const QFileDevice::FileHandleFlags handling
        = standardInput ? QFileDevice::DontCloseHandle : QFileDevice::AutoCloseHandle;
    if (!m_file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, handling))
        return m_file.errorString();
    return S_ISDIR(status.st_mode) ? systemReason(EISDIR) : QString();
}

// Only the system says where the end is: the size of a file, when it can't be asked for, looks like
// an empty one's.
qint64 InputSource::read(char* data, qint64 maxSize, QString* reason)
{
    pollfd polled[] = {{m_file.handle(), POLLIN, 0}, {int(m_stop.waitable()), POLLIN, 0}};
    while (maxSize > 0) {
        while (::poll(polled, 2, -1) < 0 && errno == EINTR) { }
        if (m_stop.stopped())
            return 0;
        const ssize_t count = ::read(m_file.handle(), data, std::size_t(maxSize));
        if (count >= 0)
            return count;
        if (errno != EINTR && errno != EAGAIN) {
            *reason = systemReason(errno);
            return -1;
        }
    }
    return 0;
}
