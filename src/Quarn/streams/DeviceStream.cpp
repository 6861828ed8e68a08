#include <Quarn/streams/DeviceStream.h>

#include <Quarn/companion/deviceFailure_p.h>
#include <Quarn/companion/narrow_p.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileDevice>
#include <QProcess>
#include <QSaveFile>
#include <QTimer>

#include <algorithm>

namespace kel {
namespace {

constexpr int waitMsecs = 5000;
constexpr int promptMsecs = 10; // a wait that fails so soon has not been one
constexpr qint64 mostUnsent = 1 << 20;

/** What sockets say when the other side has closed the connection, in the user's language. */
bool tellsOfClosedConnection(const QString& errorString)
{
    const QString local = QCoreApplication::translate("QLocalSocket", "%1: Remote closed");
    return errorString
               == QCoreApplication::translate("QAbstractSocket",
                                              "The remote host closed the connection")
           || errorString.endsWith(QString(local).remove(QStringLiteral("%1")));
}

/** Until something happens to \a device, which has no wait of its own. */
void waitForSignal(QIODevice* device)
{
    QEventLoop loop;
    const auto quit = [&loop] { loop.quit(); };
    QObject::connect(device, &QIODevice::readyRead, &loop, quit);
    QObject::connect(device, &QIODevice::bytesWritten, &loop, quit);
    QObject::connect(device, &QIODevice::readChannelFinished, &loop, quit);
    QObject::connect(device, &QIODevice::aboutToClose, &loop, quit);
    QObject::connect(device, &QObject::destroyed, &loop, quit);
    QTimer limit; // which goes with the wait: there may be thousands in the time of one
    limit.setSingleShot(true);
    limit.callOnTimeout(&loop, quit);
    limit.start(waitMsecs);
    loop.exec();
}

} // namespace

/**
 * The waits of one transfer: the device's own at first. One that fails at once may have found the end,
 * which the next attempt tells, or there are none; after that it is an event loop that waits.
 */
class DeviceStream::Waits
{
public:
    template <typename Wait>
    void once(DeviceStream& stream, Wait wait)
    {
        const QPointer<QIODevice>& device = stream.m_device;
        if (m_hasNone) {
            waitForSignal(device);
            return;
        }
        const QString before = device->errorString();
        QElapsedTimer elapsed;
        elapsed.start();
        if (wait() || !device)
            return;
        m_hasNone = elapsed.elapsed() < promptMsecs;
        if (elapsed.elapsed() >= waitMsecs - promptMsecs && device->errorString() != before)
            stream.m_timeOut = device->errorString();
    }

private:
    bool m_hasNone = false;
};

DeviceStream::DeviceStream(QIODevice* device)
    : m_device(device), m_owned(false), m_blocking(true), m_transferred(0), m_misplaced(false),
      m_ended(false)
{ }

DeviceStream::DeviceStream(std::unique_ptr<QIODevice> device)
    : m_device(device.release()), m_owned(true), m_blocking(true), m_transferred(0),
      m_misplaced(false), m_ended(false)
{ }

DeviceStream::~DeviceStream()
{
    if (m_owned)
        delete m_device.data();
}

QIODevice* DeviceStream::device() const
{
    return m_device;
}

bool DeviceStream::isSequential() const
{
    return m_device && m_device->isSequential();
}

bool DeviceStream::hasFailed() const
{
    const auto file = qobject_cast<const QFileDevice*>(m_device);
    const QString errorString = m_device->errorString();
    return (file && file->error() != QFileDevice::NoError)
           || (isDeviceFailure(errorString) && errorString != m_timeOut
               && !tellsOfClosedConnection(errorString));
}

int DeviceStream::read(void* data, int maxSize)
{
    if (maxSize == 0)
        return 0;
    if (!m_device || m_misplaced)
        return -1;
    if (!m_device->isReadable())
        return 0;
    const auto bytes = static_cast<char*>(data);
    if (!isSequential())
        return narrow(m_device->read(bytes, maxSize));
    const int count = readWaiting(bytes, maxSize);
    m_transferred += std::max(count, 0);
    return count;
}

int DeviceStream::readWaiting(char* data, int maxSize)
{
    Waits waits;
    for (;;) {
        const int count = narrow(m_device->read(data, maxSize));
        if (!m_device)
            return -1;
        const bool isFile = qobject_cast<QFileDevice*>(m_device) != nullptr;
        m_ended = count < 0 || (count == 0 && isFile); // a pipe has waited in the system
        if (m_ended)
            return hasFailed() ? -1 : 0;
        if (count > 0 || !m_blocking)
            return count;
        waits.once(*this, [this] { return m_device->waitForReadyRead(waitMsecs); });
        if (!m_device)
            return -1;
        if (!m_device->isReadable()) // closed meanwhile
            return hasFailed() ? -1 : 0;
    }
}

int DeviceStream::write(const void* data, int size)
{
    if (size == 0)
        return 0;
    if (!m_device || m_misplaced)
        return -1;
    if (!m_device->isWritable())
        return 0;
    const int count = narrow(m_device->write(static_cast<const char*>(data), size));
    if (!isSequential())
        return m_device ? count : -1;
    m_transferred += std::max(count, 0);
    return waitUntilSent(mostUnsent) ? count : -1;
}

/** False when the device has failed or gone before at most so many bytes were left. */
bool DeviceStream::waitUntilSent(qint64 unsent)
{
    Waits waits;
    while (m_device && m_blocking && m_device->isWritable() && m_device->bytesToWrite() > unsent
           && !hasFailed())
        waits.once(*this, [this] { return m_device->waitForBytesWritten(waitMsecs); });
    return m_device && !hasFailed();
}

void DeviceStream::enableNonBlockingMode(bool enable)
{
    m_blocking = !enable;
}

bool DeviceStream::nonBlocking()
{
    return !m_blocking;
}

bool DeviceStream::readable()
{
    return m_device && m_device->isReadable();
}

bool DeviceStream::writable()
{
    return m_device && m_device->isWritable();
}

void DeviceStream::flush()
{
    if (const auto file = qobject_cast<QFileDevice*>(m_device))
        file->flush();
    else
        waitUntilSent(0);
}

void DeviceStream::finishIO()
{
    flush();
    if (const auto process = qobject_cast<QProcess*>(m_device))
        process->closeWriteChannel();
    else if (m_device && m_device->isOpen() && !qobject_cast<QSaveFile*>(m_device))
        m_device->close();
}

bool DeviceStream::ioFailureDetected() const
{
    return !m_device || m_misplaced || hasFailed();
}

bool DeviceStream::eofEncountered() const
{
    if (!m_device || !m_device->isOpen())
        return true;
    return isSequential() ? m_ended : m_device->pos() >= m_device->size();
}

qint64 DeviceStream::position() const
{
    return m_device && !isSequential() ? m_device->pos() : m_transferred;
}

bool DeviceStream::setPosition(qint64 position)
{
    if (!m_device)
        return false;
    const bool moved = isSequential() ? position == m_transferred
                                      : m_device->isOpen() && m_device->seek(position);
    m_misplaced = !moved && m_device->isOpen();
    return moved;
}

qint64 DeviceStream::streamSize() const
{
    if (!m_device)
        return 0;
    return isSequential() ? -1 : m_device->size();
}

} // namespace kel
