#include <Quarn/streams/kelmQFile.h>

#include <Quarn/companion/deviceFailure_p.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/platform/OpenFileState_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <limits>
#include <utility>

namespace kel {
namespace {

constexpr int waitMsecs = 5000;
constexpr int pauseMsecs = 10;

} // namespace

kelmQFile::kelmQFile(const QString& name) : kelmQFile(name, nullptr) { }

kelmQFile::kelmQFile(QObject* parent) : kelmQFile(QString(), parent) { }

kelmQFile::kelmQFile(const QString& name, QObject* parent)
    : QFile(name, parent), m_blocking(false), m_runningReads(0), m_lastCount(0),
      m_closeRequested(false), m_removed(false), m_misplaced(false), m_keepsPlace(false),
      m_mayStay(false)
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
    if (m_runningReads > 0)
        return false;
    if (!hasSystemForm(fileName())) {
        setErrorString(QStringLiteral("The name holds a zero character"));
        return false;
    }
    if (!QFile::open(mode))
        return false;
    m_keepsPlace = !(mode & (Append | Text)) && !isSequential();
    bytesAvailable(); // QIODevice keeps what isSequential() answers now
    if (!isSequential() || !QFileInfo(fileName()).isFile())
        return true;
    // Qt takes a file whose fstat() failed for a pipe, and would read and write it anywhere.
    close();
    setErrorString(QStringLiteral("Cannot tell what kind of file this is"));
    return false;
}

void kelmQFile::close()
{
    // QIODevice crashes when its buffer goes away in the middle of a read.
    m_closeRequested = m_runningReads > 0;
    if (m_closeRequested)
        return;
    QFile::close();
    m_misplaced = false;
    m_keepsPlace = false;
}

bool kelmQFile::seek(qint64 position)
{
    // To seek costs a system call and the write buffer, so that each pass of a copy would write.
    const bool mayStay = std::exchange(m_mayStay, false);
    if (mayStay && m_keepsPlace && !m_misplaced && error() == NoError && position == pos()) {
        unsetError(); // as any seek: an error string that was set goes
        return true;
    }
    if (isOpen() && isSequential())
        return false; // a pipe never moves: nothing has failed that a warning should tell
    const bool moved = QFile::seek(position);
    m_misplaced = !moved && isOpen();
    if (m_misplaced) {
        // So that a read finds nothing in QIODevice's buffer and comes to readData(). The file stays
        // where it is. NOLINTBEGIN(bugprone-parent-virtual-call)
        const qint64 place = pos();
        QIODevice::seek(std::numeric_limits<qint64>::max());
        QIODevice::seek(place);
        // NOLINTEND(bugprone-parent-virtual-call)
    }
    return moved;
}

void kelmQFile::finishClosing()
{
    if (m_closeRequested && m_runningReads == 0)
        close();
}

int kelmQFile::read(void* data, int maxSize)
{
    if (maxSize == 0)
        return 0;
    finishClosing();
    const int count = narrow(QIODevice::read(static_cast<char*>(data), maxSize));
    finishClosing();
    return count;
}

int kelmQFile::write(const void* data, int size)
{
    if (size == 0)
        return 0;
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
    return m_misplaced || error() != QFileDevice::NoError || tellsOfFailure(*this);
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
    m_mayStay = true; // QIODevice itself calls seek() because the file is elsewhere
    return seek(position);
}

qint64 kelmQFile::streamSize() const
{
    return size();
}

qint64 kelmQFile::readData(char* data, qint64 maxSize)
{
    if (m_misplaced)
        return -1;
    if (maxSize <= 0)
        return 0; // QIODevice asks for nothing now and then; that must not wait
    return readWaiting([this, data, maxSize] {
        const qint64 count = QFile::readData(data, maxSize);
        if (count <= 0 || count == maxSize || isSequential() || pos() + count >= size())
            return count;
        // Qt passes over what ended a read that got a part, and takes it for the end of the file.
        return count + std::max<qint64>(QFile::readData(data + count, maxSize - count), 0);
    });
}

qint64 kelmQFile::readLineData(char* data, qint64 maxSize)
{
    if (m_misplaced)
        return -1;
    if (maxSize <= 0)
        return 0;
    return readWaiting([this, data, maxSize] { return QFile::readLineData(data, maxSize); });
}

qint64 kelmQFile::writeData(const char* data, qint64 size)
{
    return m_misplaced ? -1 : QFile::writeData(data, size);
}

template <typename Attempt>
qint64 kelmQFile::readWaiting(Attempt attempt)
{
    if (m_closeRequested)
        return -1;
    if (m_runningReads++ == 0)
        m_removed = false;
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
    // An attempt to read a line reads, and waits, by readData(): what ended that wait ends this one.
    while (m_blocking && m_lastCount <= 0 && isOpen() && !m_closeRequested && !m_removed
           && !atEnd()) {
        QElapsedTimer elapsed;
        elapsed.start();
        waitForReadyRead(waitMsecs);
        if (m_closeRequested)
            return 0;
        m_removed = removed();
        m_lastCount = attempt(); // also what came right before the removal
        // Only a pipe or device may get over an error; a file's would be tried again for ever.
        const bool failed = m_lastCount < 0 && !isSequential();
        if (m_lastCount > 0 || m_removed || failed)
            break;
        if (elapsed.elapsed() < pauseMsecs)
            QThread::msleep(pauseMsecs); // a wait that returns at once must not become a busy one
    }
    return m_lastCount;
}

/**
 * Whether this file is gone with its name, and not renamed, as a log is; a file opened by its handle
 * alone has no name to lose.
 */
bool kelmQFile::removed() const
{
    if (fileName().isEmpty() || exists())
        return false;
    const OpenFileState state = openFileState(handle());
    return !state.isKnown || state.isRemoved;
}

} // namespace kel
