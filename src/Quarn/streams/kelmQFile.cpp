#include <Quarn/streams/kelmQFile.h>

#include <Quarn/companion/deviceFailure_p.h>
#include <Quarn/companion/narrow_p.h>

#include <QElapsedTimer>
#include <QThread>

namespace kel {
namespace {

constexpr int waitMsecs = 5000;
constexpr int pauseMsecs = 10;

} // namespace

kelmQFile::kelmQFile(const QString& name) : kelmQFile(name, nullptr) { }

kelmQFile::kelmQFile(QObject* parent) : kelmQFile(QString(), parent) { }

kelmQFile::kelmQFile(const QString& name, QObject* parent)
    : QFile(name, parent), m_blocking(false), m_runningReads(0), m_lastCount(0),
      m_closeRequested(false)
{ }

kelmQFile::~kelmQFile() = default;

bool kelmQFile::atEnd() const
{
    if (m_closeRequested)
        return true;
    if (m_runningReads == 0)
        return QFile::atEnd();
    // The buffer of QIODevice is empty when it asks the device for more, so pos() is the device's
    // position then; what QFile::atEnd() would find in the buffer is just the room for the data.
    // A pipe or terminal has no position: it is at its end when it answers a read with nothing.
    return isSequential() ? m_lastCount == 0 : pos() >= size();
}

bool kelmQFile::open(OpenMode mode)
{
    finishClosing();
    return m_runningReads == 0 && QFile::open(mode);
}

void kelmQFile::close()
{
    // QIODevice crashes when its buffer goes away in the middle of a read.
    m_closeRequested = m_runningReads > 0;
    if (!m_closeRequested)
        QFile::close();
}

void kelmQFile::finishClosing()
{
    if (m_closeRequested && m_runningReads == 0)
        close();
}

int kelmQFile::read(void* data, int maxSize)
{
    finishClosing();
    const int count = narrow(QIODevice::read(static_cast<char*>(data), maxSize));
    finishClosing();
    return count;
}

int kelmQFile::write(const void* data, int size)
{
    finishClosing();
    return narrow(QIODevice::write(static_cast<const char*>(data), size));
}

QByteArray kelmQFile::read(qint64 maxSize)
{
    finishClosing();
    const QByteArray bytes = QIODevice::read(maxSize);
    finishClosing();
    return bytes;
}

QByteArray kelmQFile::readAll()
{
    finishClosing();
    const QByteArray bytes = QIODevice::readAll();
    finishClosing();
    return bytes;
}

qint64 kelmQFile::write(const QByteArray& bytes)
{
    finishClosing();
    return QIODevice::write(bytes);
}

qint64 kelmQFile::write(const char* text)
{
    finishClosing();
    return QIODevice::write(text);
}

void kelmQFile::enableNonBlockingMode(bool enable)
{
    m_blocking = !enable;
}

bool kelmQFile::nonBlocking()
{
    return !m_blocking;
}

bool kelmQFile::readable()
{
    return openMode().testFlag(QIODevice::ReadOnly) && !m_closeRequested;
}

bool kelmQFile::writable()
{
    return openMode().testFlag(QIODevice::WriteOnly) && !m_closeRequested;
}

void kelmQFile::flush()
{
    QFile::flush();
}

void kelmQFile::finishIO()
{
    close();
}

bool kelmQFile::ioFailureDetected() const
{
    return error() != QFileDevice::NoError || isDeviceFailure(errorString());
}

bool kelmQFile::eofEncountered() const
{
    return pos() >= size();
}

bool kelmQFile::getOutputInfo(quint64&, quint64&, void**) const
{
    return false;
}

bool kelmQFile::getThroughputStats(quint64&, quint64&, quint64&, quint64&) const
{
    return false;
}

qint64 kelmQFile::position() const
{
    return pos();
}

bool kelmQFile::setPosition(qint64 position)
{
    return seek(position);
}

qint64 kelmQFile::streamSize() const
{
    return size();
}

qint64 kelmQFile::readData(char* data, qint64 maxSize)
{
    if (maxSize <= 0)
        return 0; // QIODevice asks for nothing now and then; that must not wait
    return readWaiting([this, data, maxSize] { return QFile::readData(data, maxSize); });
}

qint64 kelmQFile::readLineData(char* data, qint64 maxSize)
{
    if (maxSize <= 0)
        return 0;
    return readWaiting([this, data, maxSize] { return QFile::readLineData(data, maxSize); });
}

template <typename Attempt>
qint64 kelmQFile::readWaiting(Attempt attempt)
{
    if (m_closeRequested)
        return -1;
    ++m_runningReads;
    const qint64 count = repeatWaiting(attempt);
    --m_runningReads;
    if (m_closeRequested && m_runningReads == 0)
        QMetaObject::invokeMethod(
            this, [this] { finishClosing(); }, Qt::QueuedConnection);
    return count;
}

template <typename Attempt>
qint64 kelmQFile::repeatWaiting(Attempt attempt)
{
    m_lastCount = attempt();
    while (m_blocking && m_lastCount <= 0 && isOpen() && !atEnd()) {
        QElapsedTimer elapsed;
        elapsed.start();
        waitForReadyRead(waitMsecs);
        if (m_closeRequested)
            return 0;
        m_lastCount = attempt();
        if (m_lastCount > 0 || removed())
            break;
        if (elapsed.elapsed() < pauseMsecs)
            QThread::msleep(pauseMsecs); // a wait that returns at once must not become a busy one
    }
    return m_lastCount;
}

/** Whether the name of this file is gone; a file opened by its handle alone has none to lose. */
bool kelmQFile::removed() const
{
    return !fileName().isEmpty() && !exists();
}

} // namespace kel
