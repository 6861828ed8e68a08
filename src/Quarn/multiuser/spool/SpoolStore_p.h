#ifndef QUARN_MULTIUSER_SPOOL_SPOOLSTORE_P_H
#define QUARN_MULTIUSER_SPOOL_SPOOLSTORE_P_H

#include <Quarn/multiuser/MultiUserSpoolFigures.h>
#include <Quarn/multiuser/MultiUserSpoolSettings.h>
#include <Quarn/multiuser/MultiUserSpoolView.h>
#include <Quarn/multiuser/spool/SpoolChunks_p.h>
#include <Quarn/platform/SpillFile_p.h>

#include <QString>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace kel {
class SpoolReading;

/**
 * \brief What a spool, its readers and views share: the bytes, how they ended, and who waits.
 *
 * The stream is a row of pieces of chunkSize. In order these are: the freed ones, those in the file
 * (at their position in the stream), those in memory; m_first and m_memoryBegin are the borders. The
 * producer fills the last piece and publishes its bytes by storing m_written. A reader that has seen
 * that finds them without a lock, in memory or else in the file, where they were before they went
 * from memory.
 *
 * Who has nothing to read sets m_listening under the lock, and then looks at m_written; who writes
 * stores m_written, and then looks at m_listening: one of both sees the other.
 */
class SpoolStore : public std::enable_shared_from_this<SpoolStore>
{
public:
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;

    explicit SpoolStore(const MultiUserSpoolSettings& settings);
    SpoolStore(const SpoolStore&) = delete;
    SpoolStore& operator=(const SpoolStore&) = delete;
    ~SpoolStore();

    // The producer.

    /** The bytes taken; fewer than \a length, or -1 for none, with the \a reason why. */
    qint64 write(const char* data, qint64 length, QString* reason);

    // Any thread.

    void finish();
    void fail(const QString& reason);
    qint64 written() const { return m_written; }
    bool ended() const { return m_state != Open; }
    bool failed() const { return m_state == Failed; }
    QString failure() const;
    qint64 firstPosition() const { return m_first << m_shift; }
    MultiUserSpoolFigures figures() const;

    // For readers. A position is to be one that the reader keeps.

    /** Registers \a reading, which gets the first position that is kept. */
    void add(SpoolReading* reading);
    void remove(SpoolReading* reading);
    /** To be called when a reader doesn't keep what is between \a before and \a position any more. */
    void passed(qint64 before, qint64 position);
    /** Moves \a reading, unless \a position is freed already. */
    bool seek(SpoolReading* reading, qint64 position);

    /** Copies what is there, up to \a maxSize bytes; -1 with a \a reason if it can't be read back. */
    qint64 copy(qint64 position, char* data, qint64 maxSize, QString* reason) const;
    /** The same without copying what is in memory. */
    bool view(qint64 position, qint64 maxSize, MultiUserSpoolView* view, QString* reason);

    /** Waits until there are bytes at \a position; false if not, and there won't be any by then. */
    bool await(SpoolReading* reading, qint64 position, const Deadline& deadline);
    /** Ends the wait of \a reading, and those to come. */
    void cancel(SpoolReading* reading);

    /** See SpoolReading. */
    void listen(SpoolReading* reading, std::function<void()> notification);
    void rearm(SpoolReading* reading);

private:
    enum State { Open, Finished, Failed };
    enum Listening { Waiting = 1, Notified = 2 };
    using Wake = std::shared_ptr<std::condition_variable>;
    struct Freed;
    struct Piece
    {
        qint64 index;
        qint64 offset; // in the piece
        qint64 size; // up to its end
    };
    using Lock = std::unique_lock<std::mutex>;

    bool fits(qint64 length) const;
    SpoolChunk* nextPiece(qint64 index, QString* reason) noexcept;
    SpoolChunk* beginPiece(qint64 index, QString* reason);
    bool awaitRoom(Lock& lock, qint64 index, QString* reason);
    bool spillOldest(Lock& lock);
    void publish(qint64 written);
    void wakeListeners();
    Piece pieceAt(qint64 position) const;
    qint64 spilledFrom(qint64 position) const;
    void unpin(SpoolChunk* chunk) const;

    // Under the lock.
    void end(State state, const QString& reason);
    void freePassed(Freed* freed);
    qint64 spare() const;
    Wake passOn();
    void wake(SpoolReading* reading);
    void postAll();
    void post(SpoolReading* reading);

    const MultiUserSpoolSettings m_settings;
    const int m_shift; // chunkSize is 1 << m_shift
    const qint64 m_most; // pieces in memory
    mutable SpoolChunks m_chunks; // tells itself what the lock guards
    SpillFile m_file; // opened and written by the producer, before m_memoryBegin tells of it
    SpoolChunk* m_current = nullptr; // the producer's

    std::atomic<qint64> m_written{0}; // stored by the producer
    std::atomic<int> m_listening{0}; // who wants to be told of bytes; set under the lock
    std::atomic<int> m_state{Open}; // set under the lock
    std::atomic<qint64> m_first{0}; // set under the lock
    std::atomic<qint64> m_memoryBegin{0}; // set under the lock

    mutable std::mutex m_mutex; // guards all that follows; no foreign code, no file under it
    std::condition_variable m_roomMade; // or nobody is left to make any
    std::list<SpoolReading*> m_waiting; // for bytes; first come, first served
    bool m_passingOn = false; // one that was woken will wake the next
    QString m_failure;
    std::vector<SpoolReading*> m_readings;
    bool m_everRead = false;
};

} // namespace kel
#endif
