#include <Quarn/multiuser/MultiUserSpoolReader.h>

#include <Quarn/companion/deviceFailure_p.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/spool/SpoolReading_p.h>

#include <QMetaMethod>
#include <QPointer>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace kel {
namespace {

using Call = std::lock_guard<std::mutex>;

// A piece of a line is copied before it is searched; most lines are short.
constexpr qint64 firstLinePiece = 256;
constexpr qint64 largestLinePiece = 64 << 10;

std::shared_ptr<SpoolStore> storeOfNothing()
{
    auto store = std::make_shared<SpoolStore>(MultiUserSpoolSettings());
    store->fail(QStringLiteral("There is no spool to read"));
    return store;
}

} // namespace

MultiUserSpoolReader::MultiUserSpoolReader(const MultiUserSpool* spool, bool blocking,
                                           QObject* parent)
    : QIODevice(parent),
      m_reading(std::make_unique<SpoolReading>(spool ? spool->m_store : storeOfNothing())),
      m_blocking(blocking), m_announced(m_reading->position())
{
    QIODevice::open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    QIODevice::seek(m_reading->position());
}

MultiUserSpoolReader::~MultiUserSpoolReader()
{
    m_reading->cancel();
    const Call last(m_reading->callMutex());
}

void MultiUserSpoolReader::cancel()
{
    m_reading->cancel();
}

bool MultiUserSpoolReader::cancelled() const
{
    return m_reading->cancelled();
}

qint64 MultiUserSpoolReader::lag() const
{
    return m_reading->lag();
}

qint64 MultiUserSpoolReader::firstPosition() const
{
    return m_reading->store().firstPosition();
}

MultiUserSpoolView MultiUserSpoolReader::peekView(qint64 maxSize)
{
    const Call call(m_reading->callMutex());
    return view(maxSize);
}

MultiUserSpoolView MultiUserSpoolReader::readView(qint64 maxSize)
{
    const Call call(m_reading->callMutex());
    const MultiUserSpoolView result = view(maxSize);
    QIODevice::seek(pos() + result.size());
    passed();
    return result;
}

MultiUserSpoolView MultiUserSpoolReader::view(qint64 maxSize)
{
    MultiUserSpoolView result;
    waiting([&](QString* reason) -> qint64 {
        return m_reading->store().view(pos(), maxSize, &result, reason) ? result.size() : -1;
    });
    return result;
}

bool MultiUserSpoolReader::isSequential() const
{
    return false;
}

bool MultiUserSpoolReader::open(OpenMode mode)
{
    return (mode & ~OpenMode(QIODevice::Unbuffered)) == QIODevice::ReadOnly;
}

void MultiUserSpoolReader::close() { }

qint64 MultiUserSpoolReader::size() const
{
    return m_reading->store().written();
}

bool MultiUserSpoolReader::seek(qint64 position)
{
    // In a transaction it may have to go back to where it is.
    const bool kept = isTransactionStarted() && position >= m_reading->position();
    return (kept || m_reading->store().seek(m_reading.get(), position))
           && QIODevice::seek(position);
}

bool MultiUserSpoolReader::reset()
{
    return seek(firstPosition());
}

bool MultiUserSpoolReader::atEnd() const
{
    // In this order: the size has its last value once the stream has ended.
    const SpoolStore& store = m_reading->store();
    return store.ended() && !store.failed() && pos() >= store.written();
}

qint64 MultiUserSpoolReader::bytesAvailable() const
{
    return std::max<qint64>(size() - pos(), 0);
}

qint64 MultiUserSpoolReader::bytesToWrite() const
{
    return 0;
}

bool MultiUserSpoolReader::canReadLine() const
{
    // What was searched before isn't again.
    const qint64 begin = pos();
    qint64 end = m_lineSearchBegin <= begin && begin < m_lineSearchEnd ? m_lineSearchEnd : begin;
    std::array<char, 16384> piece;
    QString reason;
    const void* found = nullptr;
    while (!found) {
        const qint64 count
            = m_reading->store().copy(end, piece.data(), qint64(piece.size()), &reason);
        if (count <= 0)
            break;
        found = std::memchr(piece.data(), '\n', std::size_t(count));
        if (!found)
            end += count;
    }
    m_lineSearchBegin = begin;
    m_lineSearchEnd = end;
    return found != nullptr;
}

bool MultiUserSpoolReader::waitForReadyRead(int msecs)
{
    const Call call(m_reading->callMutex());
    SpoolStore::Deadline deadline;
    if (msecs >= 0)
        deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(msecs);
    passed();
    return m_reading->store().await(m_reading.get(), pos(), deadline);
}

bool MultiUserSpoolReader::waitForBytesWritten(int)
{
    return false;
}

int MultiUserSpoolReader::read(void* data, int maxSize)
{
    const Call call(m_reading->callMutex());
    const qint64 count = QIODevice::read(static_cast<char*>(data), maxSize);
    passed();
    return narrow(count);
}

int MultiUserSpoolReader::write(const void*, int)
{
    return 0;
}

QByteArray MultiUserSpoolReader::read(qint64 maxSize)
{
    const Call call(m_reading->callMutex());
    const QByteArray bytes = QIODevice::read(maxSize);
    passed();
    return bytes;
}

QByteArray MultiUserSpoolReader::readAll()
{
    constexpr int largest = std::numeric_limits<int>::max() - 64;
    constexpr int smallestPiece = 16384;
    QByteArray bytes;
    int done = 0;
    for (int count = 1; count > 0 && done < largest; done += std::max(count, 0)) {
        const qint64 there = std::max<qint64>(bytesAvailable(), smallestPiece);
        const int wanted = int(std::min<qint64>(there, largest - done));
        bytes.resize(done + wanted);
        count = read(bytes.data() + done, wanted);
    }
    bytes.resize(done);
    return bytes;
}

void MultiUserSpoolReader::enableNonBlockingMode(bool enable)
{
    m_blocking = !enable;
}

bool MultiUserSpoolReader::nonBlocking()
{
    return !m_blocking;
}

bool MultiUserSpoolReader::readable()
{
    return !cancelled();
}

bool MultiUserSpoolReader::writable()
{
    return false;
}

void MultiUserSpoolReader::flush() { }

void MultiUserSpoolReader::finishIO() { }

bool MultiUserSpoolReader::ioFailureDetected() const
{
    return cancelled() || m_reading->store().failed() || tellsOfFailure(*this);
}

bool MultiUserSpoolReader::eofEncountered() const
{
    return atEnd();
}

bool MultiUserSpoolReader::getOutputInfo(quint64&, quint64&, void**) const
{
    return false;
}

void MultiUserSpoolReader::setThroughputStats(quint64, quint64, quint64, quint64) { }

bool MultiUserSpoolReader::getThroughputStats(quint64&, quint64&, quint64&, quint64&) const
{
    return false;
}

qint64 MultiUserSpoolReader::position() const
{
    return pos();
}

bool MultiUserSpoolReader::setPosition(qint64 position)
{
    return seek(position);
}

qint64 MultiUserSpoolReader::streamSize() const
{
    return size();
}

void MultiUserSpoolReader::connectNotify(const QMetaMethod& signal)
{
    if (signal == QMetaMethod::fromSignal(&QIODevice::readyRead)
        || signal == QMetaMethod::fromSignal(&QIODevice::readChannelFinished))
        m_reading->listen([this] {
            QMetaObject::invokeMethod(
                this, [this] { notify(); }, Qt::QueuedConnection);
        });
}

void MultiUserSpoolReader::notify()
{
    m_reading->rearm(); // before it looks: what comes later is told by another notification
    m_due = true;
    if (m_emitting)
        return;
    const QPointer<MultiUserSpoolReader> alive(this);
    m_emitting = true;
    while (std::exchange(m_due, false)) {
        const bool last = m_reading->store().ended() || cancelled();
        const qint64 written = size();
        if (written > std::exchange(m_announced, written) && !cancelled())
            Q_EMIT readyRead();
        if (alive)
            passed(); // a producer that is held back must not wait for the next read of Qt's
        if (alive && last && !std::exchange(m_endAnnounced, true))
            Q_EMIT readChannelFinished();
        if (!alive)
            return;
    }
    m_emitting = false;
}

qint64 MultiUserSpoolReader::readData(char* data, qint64 maxSize)
{
    if (maxSize <= 0)
        return 0;
    return waiting(
        [&](QString* reason) { return m_reading->store().copy(pos(), data, maxSize, reason); });
}

qint64 MultiUserSpoolReader::readLineData(char* data, qint64 maxSize)
{
    qint64 done = 0;
    qint64 piece = firstLinePiece;
    while (done < maxSize) {
        const qint64 count = waiting(
            [&](QString* reason) {
                return m_reading->store().copy(pos() + done, data + done,
                                               std::min(piece, maxSize - done), reason);
            },
            done);
        if (count <= 0)
            return done > 0 ? done : count;
        const void* const lineFeed = std::memchr(data + done, '\n', std::size_t(count));
        if (lineFeed)
            return static_cast<const char*>(lineFeed) - data + 1;
        done += count;
        piece = std::min(piece * 2, largestLinePiece);
    }
    return done;
}

qint64 MultiUserSpoolReader::writeData(const char*, qint64)
{
    return -1;
}

/** What is before the position isn't needed any more, unless a transaction may go back there. */
void MultiUserSpoolReader::passed()
{
    if (!isTransactionStarted())
        m_reading->pass(pos());
}

/**
 * Calls \a look, which answers the bytes found \a ahead of the position or -1 with a reason, until
 * there are some or there won't be any; if not blocking, once. Answers as a read does.
 */
template <typename Look>
qint64 MultiUserSpoolReader::waiting(Look look, qint64 ahead)
{
    passed();
    const SpoolStore& store = m_reading->store();
    while (true) {
        if (cancelled())
            return failed(QStringLiteral("The reader was cancelled"));
        const bool last = store.ended(); // before it looks
        QString reason;
        const qint64 count = look(&reason);
        if (count < 0)
            return failed(QStringLiteral("The spool cannot be read back: %1").arg(reason));
        if (count > 0)
            return count;
        if (last)
            return store.failed() ? failed(store.failure()) : 0;
        if (!m_blocking)
            return 0;
        m_reading->store().await(m_reading.get(), pos() + ahead, {});
    }
}

qint64 MultiUserSpoolReader::failed(const QString& reason)
{
    setErrorString(reason);
    return -1;
}

} // namespace kel
