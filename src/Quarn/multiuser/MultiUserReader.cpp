#include <Quarn/multiuser/MultiUserReader.h>

#include <Quarn/companion/deviceFailure_p.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/ReaderCall_p.h>
#include <Quarn/multiuser/ReaderConnections_p.h>
#include <Quarn/multiuser/ReaderWaits_p.h>
#include <Quarn/multiuser/Undertaker_p.h>

#include <QEvent>
#include <QThread>

#include <new>
#include <utility>

namespace kel {
namespace {

constexpr int waitSliceMsecs = 5000;
constexpr int napMsecs = 20;

} // namespace

MultiUserReader::MultiUserReader(MultiUserBuffer* buffer, bool blocking, QObject* parent)
    : QIODevice(parent), m_buffer(buffer), m_blocking(blocking), m_seekExpected(false),
      m_readyReadDue(false), m_emittingReadyRead(false), m_leaving(false),
      m_call(std::make_shared<ReaderCall>(this, [this](qint64 count) { onBytesWritten(count); }))
{
    start();
}

MultiUserReader::MultiUserReader(boost::shared_ptr<MultiUserBuffer> buffer, bool blocking,
                                 QObject* parent)
    : QIODevice(parent), m_buffer(buffer.get()), m_sharedBuffer(std::move(buffer)),
      m_blocking(blocking), m_seekExpected(false), m_readyReadDue(false),
      m_emittingReadyRead(false), m_leaving(false),
      m_call(std::make_shared<ReaderCall>(this, [this](qint64 count) { onBytesWritten(count); }))
{
    start();
}

void MultiUserReader::start()
{
    QIODevice::open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    if (m_buffer)
        m_buffer->m_readers->add(this, m_call, [this] { onBufferClose(); });
    else
        ReaderConnections::connectNothing(this);
}

MultiUserReader::~MultiUserReader()
{
    std::unique_ptr<QObject> keepsake = m_call->readerEnds();
    // Not left to the base: another reader may destroy the buffer once this one has no share in it.
    if (m_buffer)
        m_buffer->m_readers->remove(this, std::move(keepsake));
    m_sharedBuffer.reset();
}

const MultiUserBuffer* MultiUserReader::buffer() const
{
    return m_buffer;
}

bool MultiUserReader::isSequential() const
{
    return false;
}

bool MultiUserReader::open(OpenMode mode)
{
    QIODevice::open(mode | QIODevice::Unbuffered);
    return (mode & ~OpenMode(QIODevice::Unbuffered)) == QIODevice::ReadOnly;
}

void MultiUserReader::close() { }

qint64 MultiUserReader::size() const
{
    return m_buffer ? m_buffer->size() : 0;
}

bool MultiUserReader::seek(qint64 position)
{
    // Without a buffer there is nowhere to go. But after a line read QIODevice seeks to where it
    // is before it reads again, and that read has to find its 0 bytes, not fail.
    if (!m_buffer && !(m_seekExpected && position == pos()))
        return false;
    m_seekExpected = false;
    return QIODevice::seek(position);
}

bool MultiUserReader::atEnd() const
{
    // In this order: the size has its last value once the buffer is seen closed.
    return m_buffer && m_buffer->eofEncountered() && pos() >= m_buffer->size();
}

bool MultiUserReader::reset()
{
    return seek(0);
}

qint64 MultiUserReader::bytesAvailable() const
{
    return m_buffer ? m_buffer->size() - pos() : 0;
}

qint64 MultiUserReader::bytesToWrite() const
{
    return -1;
}

bool MultiUserReader::canReadLine() const
{
    return m_buffer && m_buffer->canReadLine(pos());
}

bool MultiUserReader::waitForReadyRead(int msecs)
{
    if (m_leaving)
        return false;
    try {
        if (!m_waits)
            m_waits = std::make_unique<ReaderWaits>(
                this, m_call, [this] { return m_buffer && m_buffer->eofEncountered(); });
        const ReaderWaits::Outcome outcome = m_waits->wait(msecs);
        if (m_leaving && !m_waits->running())
            (new Undertaker(this))->deleteLater(); // on the caller's level of events
        return outcome == ReaderWaits::Written;
    } catch (const std::bad_alloc&) {
        QThread::msleep(napMsecs); // whoever waits looks for himself, but not without end
        return false;
    }
}

bool MultiUserReader::waitForBytesWritten(int)
{
    return false;
}

qint64 MultiUserReader::peek(char* data, qint64 maxSize)
{
    return readData(data, maxSize);
}

QByteArray MultiUserReader::peek(qint64 maxSize)
{
    QByteArray result;
    if (maxSize > 0)
        copyWaiting([&] {
            result = m_buffer->readData(pos(), maxSize);
            return !result.isEmpty();
        });
    return result;
}

int MultiUserReader::read(void* data, int maxSize)
{
    return narrow(QIODevice::read(static_cast<char*>(data), maxSize));
}

int MultiUserReader::write(const void*, int)
{
    return 0;
}

QByteArray MultiUserReader::read(qint64 maxSize)
{
    return QIODevice::read(maxSize);
}

QByteArray MultiUserReader::readAll()
{
    return QIODevice::readAll();
}

qint64 MultiUserReader::write(const QByteArray& bytes)
{
    return QIODevice::write(bytes);
}

qint64 MultiUserReader::write(const char* text)
{
    return QIODevice::write(text);
}

void MultiUserReader::enableNonBlockingMode(bool enable)
{
    m_blocking = !enable;
}

bool MultiUserReader::nonBlocking()
{
    return !m_blocking;
}

bool MultiUserReader::readable()
{
    return m_buffer;
}

bool MultiUserReader::writable()
{
    return false;
}

void MultiUserReader::flush() { }

void MultiUserReader::finishIO() { }

bool MultiUserReader::ioFailureDetected() const
{
    return tellsOfFailure(*this) || (m_buffer && m_buffer->ioFailureDetected());
}

bool MultiUserReader::eofEncountered() const
{
    return atEnd();
}

bool MultiUserReader::getOutputInfo(quint64&, quint64&, void**) const
{
    return false;
}

void MultiUserReader::setThroughputStats(quint64, quint64, quint64, quint64) { }

bool MultiUserReader::getThroughputStats(quint64&, quint64&, quint64&, quint64&) const
{
    return false;
}

qint64 MultiUserReader::position() const
{
    return pos();
}

bool MultiUserReader::setPosition(qint64 position)
{
    return seek(position);
}

qint64 MultiUserReader::streamSize() const
{
    return size();
}

bool MultiUserReader::event(QEvent* event)
{
    if (event->type() != QEvent::DeferredDelete || !m_waits || !m_waits->running())
        return QIODevice::event(event);
    m_leaving = true; // goes when the waits have returned
    m_waits->end(ReaderWaits::Leaving);
    return true;
}

void MultiUserReader::onBytesWritten(qint64)
{
    if (m_waits)
        m_waits->end(ReaderWaits::Written);
    m_readyReadDue = true;
    if (m_emittingReadyRead)
        return; // a slot of it waits: were it called again, each write would nest it deeper
    QPointer<MultiUserReader> alive;
    try {
        alive = this;
        m_emittingReadyRead = true;
        while (alive && std::exchange(m_readyReadDue, false))
            Q_EMIT readyRead();
    } catch (const std::bad_alloc&) {
        // of a queued call to a slot, say; the next write makes up for it
    }
    if (alive)
        m_emittingReadyRead = false;
}

void MultiUserReader::onBufferClose()
{
    if (m_waits)
        m_waits->end(ReaderWaits::Closed);
}

qint64 MultiUserReader::readData(char* data, qint64 maxSize)
{
    qint64 count = 0;
    if (maxSize > 0)
        copyWaiting([&] {
            count = narrow(m_buffer->readData(pos(), data, maxSize));
            return count > 0;
        });
    return count;
}

qint64 MultiUserReader::readLineData(char* data, qint64 maxSize)
{
    if (!m_buffer) {
        // Tells QIODevice that its position is still right, so that it won't seek.
        QIODevice::readLineData(data, 0);
        return 0;
    }
    m_seekExpected = true;
    qint64 count = 0;
    if (maxSize > 1) // one byte is for the terminator
        copyWaiting([&] {
            count = narrow(m_buffer->readLineData(pos(), data, maxSize));
            return count > 0;
        });
    return count;
}

qint64 MultiUserReader::writeData(const char*, qint64)
{
    return -1;
}

/** Repeats \a copy until it got something, the data ends or, if not blocking, once. */
template <typename Copy>
void MultiUserReader::copyWaiting(Copy copy)
{
    while (m_buffer && !atEnd()) {
        if (copy() || !m_blocking || m_leaving)
            return;
        // A close() that was under way has ended now that the copy had its turn with the lock,
        // and its notification may have come before this wait.
        if (atEnd())
            return;
        waitForReadyRead(waitSliceMsecs);
    }
}

} // namespace kel
