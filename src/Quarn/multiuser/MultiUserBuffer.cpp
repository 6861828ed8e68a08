#include <Quarn/multiuser/MultiUserBuffer.h>

#include <Quarn/companion/deviceFailure_p.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/multiuser/MultiUserReader.h>
#include <Quarn/multiuser/ReaderConnections_p.h>
#include <Quarn/multiuser/WriteNotifier_p.h>
#include <Quarn/platform/LargePages_p.h>

#include <QEvent>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace kel {
namespace {

// QByteArray needs a few bytes for itself below the limit of int.
constexpr qint64 largestSize = std::numeric_limits<int>::max() - 64;

// From here on most of the time of a write goes into the faults for fresh pages. The array may still
// be a part of the heap, but a large one.
constexpr qint64 manyPages = 4 << 20;

} // namespace

MultiUserBuffer::MultiUserBuffer(QObject* parent) : MultiUserBuffer(nullptr, parent) { }

MultiUserBuffer::MultiUserBuffer(QByteArray* byteArray, QObject* parent)
    : QBuffer(byteArray, parent), m_size(QBuffer::size()), m_open(false),
      m_readers(std::make_shared<ReaderConnections>(this)),
      m_notifier(new WriteNotifier(this, m_readers))
{
    m_open = QBuffer::open(QIODevice::WriteOnly);
}

MultiUserBuffer::MultiUserBuffer(const QByteArray& data, QObject* parent)
    : QBuffer(parent), m_size(0), m_open(false),
      m_readers(std::make_shared<ReaderConnections>(this)),
      m_notifier(new WriteNotifier(this, m_readers))
{
    setData(data);
    m_size = QBuffer::size();
}

MultiUserBuffer::MultiUserBuffer(const char* data, int size, QObject* parent)
    : MultiUserBuffer(QByteArray(data, size), parent)
{
    m_open = QBuffer::open(QIODevice::WriteOnly);
}

MultiUserBuffer::~MultiUserBuffer()
{
    m_notifier.reset(); // waits for an emission that still runs in another thread
}

boost::shared_ptr<IRandomAccessIO>
MultiUserBuffer::createReaderInterface(boost::shared_ptr<MultiUserBuffer> buffer, bool blocking)
{
    return boost::shared_ptr<MultiUserReader>(new MultiUserReader(std::move(buffer), blocking));
}

bool MultiUserBuffer::open(OpenMode mode)
{
    if (mode != QIODevice::WriteOnly)
        return false;
    const QMutexLocker locker(&m_lock);
    const bool opened = QBuffer::open(QIODevice::WriteOnly);
    if (opened) {
        const QMutexLocker errorLocker(&m_errorMutex);
        m_errorText.clear();
    }
    m_open = opened;
    return opened;
}

void MultiUserBuffer::close()
{
    const QMutexLocker locker(&m_lock);
    try {
        const ReaderConnections::Emission closing(m_readers, ReaderConnections::AboutToClose);
        QBuffer::close(); // forgets the error string
    } catch (const std::bad_alloc&) {
        setOpenMode(NotOpen); // who could not be told notices when its slice of a wait ends
    }
    {
        const QMutexLocker errorLocker(&m_errorMutex);
        if (!m_errorText.isEmpty())
            QBuffer::setErrorString(m_errorText);
    }
    m_open = false;
}

bool MultiUserBuffer::seek(qint64 position)
{
    if (position > largestSize)
        return false;
    const QMutexLocker locker(&m_lock);
    if (m_open && position > m_size && !fillUpTo(int(position)))
        return false;
    return QBuffer::seek(position);
}

bool MultiUserBuffer::reset()
{
    const QMutexLocker locker(&m_lock);
    return QIODevice::reset();
}

qint64 MultiUserBuffer::size() const
{
    return m_size;
}

bool MultiUserBuffer::canReadLine() const
{
    return false;
}

void MultiUserBuffer::setErrorString(const QString& text)
{
    // The default text records nothing; remembered, it would look like a failure as soon as the
    // application's language changes. Asked before the lock: translators are foreign code.
    const QString recorded = isDeviceFailure(text) ? text : QString();
    const QMutexLocker errorLocker(&m_errorMutex);
    m_errorText = recorded;
    QBuffer::setErrorString(m_errorText);
}

int MultiUserBuffer::read(void*, int)
{
    return 0;
}

QByteArray MultiUserBuffer::read(qint64 maxSize)
{
    return QIODevice::read(maxSize);
}

QByteArray MultiUserBuffer::readAll()
{
    return QIODevice::readAll();
}

qint64 MultiUserBuffer::write(const QByteArray& bytes)
{
    return QIODevice::write(bytes);
}

qint64 MultiUserBuffer::write(const char* text)
{
    return QIODevice::write(text);
}

int MultiUserBuffer::write(const void* data, int size)
{
    return size == 0 ? 0 : narrow(QIODevice::write(static_cast<const char*>(data), size));
}

void MultiUserBuffer::enableNonBlockingMode(bool) { }

bool MultiUserBuffer::nonBlocking()
{
    return true;
}

bool MultiUserBuffer::readable()
{
    return false;
}

bool MultiUserBuffer::writable()
{
    return m_open;
}

void MultiUserBuffer::flush() { }

void MultiUserBuffer::finishIO()
{
    close();
}

bool MultiUserBuffer::ioFailureDetected() const
{
    QString text;
    {
        const QMutexLocker errorLocker(&m_errorMutex);
        text = m_errorText;
    }
    return isDeviceFailure(text);
}

bool MultiUserBuffer::eofEncountered() const
{
    return !m_open;
}

bool MultiUserBuffer::getOutputInfo(quint64&, quint64&, void**) const
{
    return false;
}

void MultiUserBuffer::setThroughputStats(quint64, quint64, quint64, quint64) { }

bool MultiUserBuffer::getThroughputStats(quint64&, quint64&, quint64&, quint64&) const
{
    return false;
}

qint64 MultiUserBuffer::position() const
{
    return pos();
}

bool MultiUserBuffer::setPosition(qint64 position)
{
    return seek(position);
}

qint64 MultiUserBuffer::streamSize() const
{
    return size();
}

bool MultiUserBuffer::event(QEvent* event)
{
    if (event->type() == QEvent::ThreadChange)
        m_notifier->deviceMoves();
    return QBuffer::event(event);
}

// QBuffer counts its connections here, to notify by itself while there are any. WriteNotifier
// does that instead, so the count stays at 0: readers connect from threads of their own, and the
// count has no lock.

void MultiUserBuffer::connectNotify(const QMetaMethod&) { }

void MultiUserBuffer::disconnectNotify(const QMetaMethod&) { }

qint64 MultiUserBuffer::readData(char*, qint64)
{
    return -1;
}

qint64 MultiUserBuffer::readLineData(char*, qint64)
{
    return -1;
}

qint64 MultiUserBuffer::writeData(const char* data, qint64 length)
{
    // Without the lock: posting takes longer than most copies, and a refusal asks translators.
    qint64 written = 0;
    try {
        written = writeLocked(data, length);
    } catch (const std::bad_alloc&) {
        return refuseWrite(QStringLiteral("Not enough memory for the buffer"));
    }
    if (written < 0)
        return refuseWrite(QStringLiteral("The buffer is full"));
    m_notifier->bytesWritten(written);
    return written;
}

/** -1 when there is no room. Throws std::bad_alloc. */
qint64 MultiUserBuffer::writeLocked(const char* data, qint64 length)
{
    const QMutexLocker locker(&m_lock);
    if (length > largestSize - pos())
        return -1;
    const qint64 capacity = QBuffer::data().capacity();
    const qint64 written = QBuffer::writeData(data, length);
    const QByteArray& bytes = QBuffer::data();
    if (bytes.capacity() > capacity && bytes.capacity() >= manyPages)
        preferLargePages(bytes.constData(), std::size_t(bytes.capacity()));
    m_size = bytes.size();
    return written;
}

qint64 MultiUserBuffer::findLineBreak(qint64 position) const
{
    const QMutexLocker locker(&m_lock);
    const QByteArray& bytes = data();
    if (position < 0 || position >= bytes.size())
        return -1;
    const char* const start = bytes.constData();
    const void* const found
        = std::memchr(start + position, '\n', std::size_t(bytes.size() - position));
    return found ? static_cast<const char*>(found) - start : -1;
}

bool MultiUserBuffer::canReadLine(qint64 position) const
{
    return findLineBreak(position) >= 0;
}

qint64 MultiUserBuffer::readData(qint64 position, char* data, qint64 maxSize) const
{
    if (position < 0)
        return -1;
    const QMutexLocker locker(&m_lock);
    const QByteArray& bytes = QBuffer::data();
    const qint64 count = std::min(bytes.size() - position, maxSize);
    if (count > 0)
        std::memcpy(data, bytes.constData() + position, std::size_t(count));
    return count;
}

QByteArray MultiUserBuffer::readData(qint64 position, qint64 maxSize) const
{
    if (position < 0)
        return {};
    const QMutexLocker locker(&m_lock);
    const QByteArray& bytes = data();
    const qint64 count = std::min(bytes.size() - position, maxSize);
    // Not mid(): that would hand out the array itself where it covers everything, and the next
    // write would have to copy it first.
    return count > 0 ? QByteArray(bytes.constData() + position, narrow(count)) : QByteArray();
}

qint64 MultiUserBuffer::readLineData(qint64 position, char* data, qint64 maxSize) const
{
    if (position < 0)
        return -1;
    const QMutexLocker locker(&m_lock);
    const QByteArray& bytes = QBuffer::data();
    // No further than can be delivered: a long line read in small pieces is searched once in all.
    const qint64 most = std::min(bytes.size() - position, maxSize - 1);
    if (most <= 0)
        return most;
    const char* const start = bytes.constData() + position;
    const void* const lineFeed = std::memchr(start, '\n', std::size_t(most));
    const qint64 count = lineFeed ? static_cast<const char*>(lineFeed) - start + 1 : most;
    std::memcpy(data, start, std::size_t(count));
    data[count] = '\0';
    return count;
}

/** Zeroes up to \a size, which are news to the readers. False, and nothing has changed, without memory. */
bool MultiUserBuffer::fillUpTo(int size)
{
    // Not left to QBuffer: with Qt 5 it throws, and moves before that.
    QByteArray& bytes = buffer();
    const int before = narrow(bytes.size());
    try {
        bytes.resize(size);
    } catch (const std::bad_alloc&) {
        return false;
    }
    std::memset(bytes.data() + before, 0, std::size_t(size - before));
    m_size = size;
    m_notifier->bytesWritten(size - before);
    return true;
}

qint64 MultiUserBuffer::refuseWrite(const QString& reason)
{
    setErrorString(reason);
    return -1;
}

} // namespace kel
