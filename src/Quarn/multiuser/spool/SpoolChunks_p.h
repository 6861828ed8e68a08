#ifndef QUARN_MULTIUSER_SPOOL_SPOOLCHUNKS_P_H
#define QUARN_MULTIUSER_SPOOL_SPOOLCHUNKS_P_H

#include <Quarn/platform/PageMemory_p.h>

#include <QtGlobal>

#include <array>
#include <atomic>
#include <memory>
#include <vector>

namespace kel {

/** A piece of the stream in memory. The object outlives its memory and is used again with other. */
struct alignas(64) SpoolChunk
{
    static constexpr qint64 none = -1;

    std::atomic<qint64> index{none}; // of the piece; none while it is evicted or not used yet
    std::atomic<int> pins{0}; // of those who look at the bytes, or are about to find out
    PageMemory memory; // exchanged only while there is no index, and after that no pin
};

/**
 * \brief The pieces of a stream that are in memory, found by their index without a lock.
 *
 * Piece number i stands in slot i modulo the most pieces that there may be, so a slot is free when
 * its next piece comes. Slots come in segments, each as long as all before it: growing moves nothing.
 *
 * Who wants to look pins first and asks for the index then; who evicts removes the index first and
 * asks for pins then. All four are sequentially consistent, so one of both sees the other: either the
 * piece isn't found any more, or its memory waits for the last pin.
 */
class SpoolChunks
{
public:
    /** Memory that goes back to the system when no lock is held any more. */
    using Surplus = std::vector<PageMemory>;

    SpoolChunks(qint64 chunkSize, qint64 most);
    SpoolChunks(const SpoolChunks&) = delete;
    SpoolChunks& operator=(const SpoolChunks&) = delete;
    ~SpoolChunks();

    // Any thread, without a lock.

    /** The piece \a index, which is kept as it is until unpin(); null if it isn't in memory. */
    SpoolChunk* pin(qint64 index) const;
    /** True when this was the last pin of an evicted piece: reclaim() is to be called. */
    static bool unpin(SpoolChunk* chunk);
    qint64 bytesInMemory() const { return m_allocated * m_chunkSize; }
    qint64 highWater() const { return m_highWater; }

    // The producer.

    /** Gets memory for \a empty, in large pages if \a large. False if refused. */
    bool allocate(SpoolChunk* empty, bool large);
    /** Makes \a chunk the piece \a index. False without memory for another slot. */
    bool publish(SpoolChunk* chunk, qint64 index);

    // Under the store's lock.

    /** A chunk with memory that nobody uses, or null. */
    SpoolChunk* takeReady();
    /** A chunk without memory; null if refused. */
    SpoolChunk* takeEmpty();
    /** For a chunk that isn't used after all. */
    void giveBack(SpoolChunk* chunk);
    /** Takes the piece \a index, which is in memory, out of reach. */
    void evict(qint64 index);
    /** Finds out which evicted pieces nobody looks at any more. */
    void reclaim();
    /** Moves memory to \a surplus that isn't kept ready: beyond \a most chunks, or a few. */
    void trim(Surplus* surplus, qint64 most);

private:
    using Slot = std::atomic<SpoolChunk*>;

    Slot* slotOf(qint64 index) const;
    Slot* madeSlotOf(qint64 index);

    const qint64 m_chunkSize;
    const qint64 m_most;
    std::array<std::atomic<Slot*>, 48> m_segments{}; // set by the producer, once each
    std::atomic<qint64> m_allocated{0}; // chunks with memory
    std::atomic<qint64> m_highWater{0}; // in bytes; set by the producer

    // Under the store's lock.
    std::vector<std::unique_ptr<SpoolChunk>> m_all;
    std::vector<SpoolChunk*> m_ready;
    std::vector<SpoolChunk*> m_empty;
    std::vector<SpoolChunk*> m_evicted; // still pinned
};

} // namespace kel
#endif
