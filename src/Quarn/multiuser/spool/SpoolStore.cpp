#include <Quarn/multiuser/spool/SpoolStore_p.h>

#include <Quarn/multiuser/spool/SpoolReading_p.h>

#include <QDir>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace kel {
namespace {

constexpr int smallestShift = 12; // 4 KiB
constexpr int largestShift = 21; // 2 MiB, a large page
constexpr qint64 fewest = 4; // chunks that the limit allows
constexpr qint64 largestReadBack = 256 << 10; // for a view of what was spilled

QString notEnoughMemory()
{
    return QStringLiteral("Not enough memory for the spool");
}

/** Of the largest chunk of which there are 32 in \a limit. */
int shiftFor(qint64 limit)
{
    int shift = smallestShift;
    while (shift < largestShift && (limit >> (shift + 1)) >= 32)
        ++shift;
    return shift;
}

} // namespace

/** What is given back when the lock is no longer held: declare it before the lock. */
struct SpoolStore::Freed
{
    explicit Freed(SpillFile& spillFile) : file(spillFile) { }
    Freed(const Freed&) = delete;
    Freed& operator=(const Freed&) = delete;
    ~Freed()
    {
        if (size > 0)
            file.release(position, size);
    }

    SpillFile& file;
    qint64 position = 0; // in the file
    qint64 size = 0;
    SpoolChunks::Surplus memory;
};

SpoolStore::SpoolStore(const MultiUserSpoolSettings& settings)
    : m_settings(settings), m_shift(shiftFor(settings.memoryLimit)),
      m_most(std::max(settings.memoryLimit >> m_shift, fewest)),
      m_chunks(qint64(1) << m_shift, m_most)
{ }

SpoolStore::~SpoolStore() = default;

qint64 SpoolStore::write(const char* data, qint64 length, QString* reason)
{
    if (m_settings.atLimit == MultiUserSpoolSettings::RefuseWrite && !fits(length)) {
        *reason = QStringLiteral("The spool is full");
        return -1;
    }
    const qint64 chunkSize = qint64(1) << m_shift;
    qint64 done = 0;
    while (done < length && !ended()) {
        const qint64 position = m_written.load(std::memory_order_relaxed);
        const qint64 offset = position & (chunkSize - 1);
        if (offset == 0)
            m_current = nextPiece(position >> m_shift, reason);
        if (!m_current)
            break;
        const qint64 part = std::min(length - done, chunkSize - offset);
        std::memcpy(m_current->memory.bytes() + offset, data + done, std::size_t(part));
        publish(position + part);
        done += part;
    }
    if (done < length && failed())
        *reason = failure();
    return done > 0 || length == 0 ? done : -1;
}

/** Whether the limit leaves room for as much; readers can only make more. */
bool SpoolStore::fits(qint64 length) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const qint64 end = m_memoryBegin + m_most; // pieces
    return length
           <= (std::min(end, std::numeric_limits<qint64>::max() >> m_shift) << m_shift) - m_written;
}

/** The chunk for the next piece; null with a \a reason. */
SpoolChunk* SpoolStore::nextPiece(qint64 index, QString* reason) noexcept
{
    try {
        return beginPiece(index, reason);
    } catch (const std::bad_alloc&) { // to spill what is in the way, say
        const std::lock_guard<std::mutex> lock(m_mutex);
        end(Failed, notEnoughMemory());
        return nullptr;
    }
}

SpoolChunk* SpoolStore::beginPiece(qint64 index, QString* reason)
{
    SpoolChunk* chunk = nullptr;
    bool hasMemory = true;
    {
        Freed freed(m_file);
        Lock lock(m_mutex);
        if (!awaitRoom(lock, index, reason))
            return nullptr;
        chunk = m_chunks.takeReady();
        if (!chunk) {
            hasMemory = false;
            chunk = m_chunks.takeEmpty();
        }
        m_chunks.trim(&freed.memory, spare() - 1);
    }
    // Without the lock: large memory takes its time. The first piece may stay small.
    if (chunk && (hasMemory || m_chunks.allocate(chunk, index > 0))
        && m_chunks.publish(chunk, index))
        return chunk;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (chunk)
        m_chunks.giveBack(chunk);
    end(Failed, notEnoughMemory());
    return nullptr;
}

/** Sees to it that memory for the piece \a index is within the limit. */
bool SpoolStore::awaitRoom(Lock& lock, qint64 index, QString* reason)
{
    const bool held = m_settings.atLimit == MultiUserSpoolSettings::HoldBack
                      && m_settings.keep == MultiUserSpoolSettings::KeepUnread;
    while (!ended() && index - m_memoryBegin >= m_most) {
        if (m_settings.atLimit == MultiUserSpoolSettings::SpillToDisk) {
            if (!spillOldest(lock))
                return false;
        } else if (held && !(m_everRead && m_readings.empty())) {
            m_roomMade.wait(lock);
        } else {
            *reason = held ? QStringLiteral("The spool is full and has no reader any more")
                           : QStringLiteral("The spool is full");
            return false;
        }
    }
    return !ended();
}

/** Writes the oldest piece in memory to the file, without the lock meanwhile. */
bool SpoolStore::spillOldest(Lock& lock)
{
    const qint64 index = m_memoryBegin;
    SpoolChunk* const chunk = m_chunks.pin(index); // readers may pass it meanwhile
    lock.unlock();
    const qint64 position = index << m_shift;
    const qint64 size = qint64(1) << m_shift;
    // Empty when the environment names one that is missing.
    const QString folder
        = m_settings.spillFolder.isEmpty() ? QDir::tempPath() : m_settings.spillFolder;
    QString reason;
    const bool kept = (m_file.isOpen() || m_file.open(folder, &reason))
                      && m_file.write(position, chunk->memory.bytes(), size, &reason);
    lock.lock();
    if (SpoolChunks::unpin(chunk))
        m_chunks.reclaim();
    if (!kept) {
        end(Failed,
            QStringLiteral("The spool cannot go to the disk in %1: %2")
                .arg(folder.isEmpty() ? QStringLiteral("the temporary folder") : folder, reason));
        return false;
    }
    if (m_memoryBegin == index) {
        m_memoryBegin = index + 1;
        m_chunks.evict(index);
        return true;
    }
    lock.unlock();
    m_file.release(position, size);
    lock.lock();
    return true;
}

void SpoolStore::publish(qint64 written)
{
    m_written = written;
    if (m_listening)
        wakeListeners();
}

void SpoolStore::finish()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    end(Finished, QString());
}

void SpoolStore::fail(const QString& reason)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    end(Failed, reason);
}

/** The first end decides. */
void SpoolStore::end(State state, const QString& reason)
{
    if (ended())
        return;
    m_failure = reason;
    m_state = state;
    postAll();
    while (!m_waiting.empty()) {
        SpoolReading* const reading = m_waiting.front();
        wake(reading);
        reading->m_wake->notify_one();
    }
    m_roomMade.notify_all();
}

QString SpoolStore::failure() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_failure;
}

MultiUserSpoolFigures SpoolStore::figures() const
{
    MultiUserSpoolFigures figures;
    const std::lock_guard<std::mutex> lock(m_mutex);
    figures.written = m_written;
    figures.firstPosition = firstPosition();
    figures.inMemory = m_chunks.bytesInMemory();
    figures.spilled = (m_memoryBegin - m_first) << m_shift;
    // The producer counts a piece before it raises the high water.
    figures.highWater = std::max(m_chunks.highWater(), figures.inMemory);
    for (const SpoolReading* reading : m_readings)
        figures.lags.push_back(reading->lag());
    return figures;
}

void SpoolStore::add(SpoolReading* reading)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_readings.push_back(reading);
    m_everRead = true;
    reading->m_position = firstPosition();
}

void SpoolStore::remove(SpoolReading* reading)
{
    Freed freed(m_file);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_readings.erase(std::find(m_readings.begin(), m_readings.end(), reading));
    freePassed(&freed);
    m_roomMade.notify_all(); // or there was nobody else to make any
}

void SpoolStore::passed(qint64 before, qint64 position)
{
    if (m_settings.keep == MultiUserSpoolSettings::KeepEverything
        || before >> m_shift == position >> m_shift)
        return;
    Freed freed(m_file);
    const std::lock_guard<std::mutex> lock(m_mutex);
    freePassed(&freed);
}

bool SpoolStore::seek(SpoolReading* reading, qint64 position)
{
    Freed freed(m_file);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (position < firstPosition())
        return false;
    reading->m_position = position;
    freePassed(&freed);
    return true;
}

/** Frees the pieces that all readers have passed. Without any reader nobody has. */
void SpoolStore::freePassed(Freed* freed)
{
    if (m_settings.keep == MultiUserSpoolSettings::KeepEverything || m_readings.empty())
        return;
    qint64 least = m_written;
    for (const SpoolReading* reading : m_readings)
        least = std::min(least, reading->position());
    const qint64 first = least >> m_shift;
    if (first <= m_first)
        return;
    freed->position = m_first << m_shift;
    freed->size = (std::min<qint64>(first, m_memoryBegin) - m_first) << m_shift;
    for (; m_memoryBegin < first; ++m_memoryBegin)
        m_chunks.evict(m_memoryBegin);
    m_first = first;
    m_chunks.trim(&freed->memory, spare());
    m_roomMade.notify_all();
}

/** Chunks that the limit allows beyond those in use. */
qint64 SpoolStore::spare() const
{
    const qint64 end = ((m_written - 1) >> m_shift) + 1;
    return m_most - (end - m_memoryBegin);
}

qint64 SpoolStore::copy(qint64 position, char* data, qint64 maxSize, QString* reason) const
{
    const qint64 size = std::min(maxSize, m_written - position);
    qint64 done = 0;
    while (done < size) {
        const Piece piece = pieceAt(position + done);
        qint64 part = std::min(size - done, piece.size);
        if (SpoolChunk* const chunk = m_chunks.pin(piece.index)) {
            std::memcpy(data + done, chunk->memory.bytes() + piece.offset, std::size_t(part));
            unpin(chunk);
        } else {
            part = std::min(size - done, spilledFrom(position + done));
            if (!m_file.read(position + done, data + done, part, reason))
                return done > 0 ? done : -1;
        }
        done += part;
    }
    return done;
}

bool SpoolStore::view(qint64 position, qint64 maxSize, MultiUserSpoolView* view, QString* reason)
{
    const qint64 size = std::min(maxSize, m_written - position);
    if (size <= 0)
        return true;
    try {
        const Piece piece = pieceAt(position);
        if (SpoolChunk* const chunk = m_chunks.pin(piece.index)) {
            const auto unpin
                = [store = shared_from_this(), chunk](const char*) { store->unpin(chunk); };
            const std::shared_ptr<const char> bytes(chunk->memory.bytes() + piece.offset, unpin);
            *view = MultiUserSpoolView(bytes, std::min(size, piece.size));
            return true;
        }
        const qint64 part = std::min({size, spilledFrom(position), largestReadBack});
        const std::shared_ptr<char> bytes(new char[std::size_t(part)],
                                          std::default_delete<char[]>());
        if (!m_file.read(position, bytes.get(), part, reason))
            return false;
        *view = MultiUserSpoolView(bytes, part);
        return true;
    } catch (const std::bad_alloc&) {
        *reason = QStringLiteral("Not enough memory for a view");
        return false;
    }
}

SpoolStore::Piece SpoolStore::pieceAt(qint64 position) const
{
    const qint64 chunkSize = qint64(1) << m_shift;
    const qint64 offset = position & (chunkSize - 1);
    return {position >> m_shift, offset, chunkSize - offset};
}

/** Bytes that lie in the file from \a position on, whose piece is known to. */
qint64 SpoolStore::spilledFrom(qint64 position) const
{
    return (std::max<qint64>((position >> m_shift) + 1, m_memoryBegin) << m_shift) - position;
}

void SpoolStore::unpin(SpoolChunk* chunk) const
{
    if (!SpoolChunks::unpin(chunk))
        return;
    SpoolChunks::Surplus surplus;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_chunks.reclaim();
    m_chunks.trim(&surplus, spare());
}

} // namespace kel
