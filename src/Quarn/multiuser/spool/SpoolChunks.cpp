#include <Quarn/multiuser/spool/SpoolChunks_p.h>

#include <Quarn/platform/LargePages_p.h>

#include <QtAlgorithms>

#include <algorithm>
#include <new>

namespace kel {
namespace {

constexpr quint64 firstSegment = 64; // slots
constexpr qint64 mostReady = 4; // chunks with memory for those to come

struct Place
{
    std::size_t segment;
    quint64 offset;
};

quint64 lengthOf(std::size_t segment)
{
    return firstSegment << segment;
}

Place placeOf(quint64 slot)
{
    const quint64 block = slot / firstSegment + 1;
    const auto segment = std::size_t(63 - qCountLeadingZeroBits(block));
    return {segment, slot - (lengthOf(segment) - firstSegment)};
}

} // namespace

SpoolChunks::SpoolChunks(qint64 chunkSize, qint64 most) : m_chunkSize(chunkSize), m_most(most) { }

SpoolChunks::~SpoolChunks()
{
    for (const std::atomic<Slot*>& segment : m_segments)
        delete[] segment.load();
}

SpoolChunks::Slot* SpoolChunks::slotOf(qint64 index) const
{
    const Place place = placeOf(quint64(index % m_most));
    Slot* const segment = m_segments[place.segment].load(std::memory_order_acquire);
    return segment ? segment + place.offset : nullptr;
}

SpoolChunks::Slot* SpoolChunks::madeSlotOf(qint64 index)
{
    const Place place = placeOf(quint64(index % m_most));
    Slot* segment = m_segments[place.segment].load(std::memory_order_relaxed);
    if (!segment) {
        segment = new (std::nothrow) Slot[std::size_t(lengthOf(place.segment))]();
        if (!segment)
            return nullptr;
        m_segments[place.segment].store(segment, std::memory_order_release);
    }
    return segment + place.offset;
}

SpoolChunk* SpoolChunks::pin(qint64 index) const
{
    const Slot* const slot = slotOf(index);
    SpoolChunk* const chunk = slot ? slot->load(std::memory_order_acquire) : nullptr;
    if (!chunk)
        return nullptr;
    ++chunk->pins;
    if (chunk->index == index)
        return chunk;
    // Whoever evicted may have met this pin. The memory is then ready again at the next reclaim(),
    // which comes at the latest when it is needed.
    --chunk->pins;
    return nullptr;
}

bool SpoolChunks::unpin(SpoolChunk* chunk)
{
    return --chunk->pins == 0 && chunk->index == SpoolChunk::none;
}

bool SpoolChunks::allocate(SpoolChunk* empty, bool large)
{
    empty->memory = PageMemory(std::size_t(m_chunkSize));
    if (!empty->memory.bytes())
        return false;
    if (large)
        preferLargePages(empty->memory.bytes(), std::size_t(m_chunkSize));
    ++m_allocated;
    m_highWater = std::max<qint64>(m_highWater, bytesInMemory());
    return true;
}

bool SpoolChunks::publish(SpoolChunk* chunk, qint64 index)
{
    Slot* const slot = madeSlotOf(index);
    if (!slot)
        return false;
    chunk->index = index;
    slot->store(chunk, std::memory_order_release);
    return true;
}

SpoolChunk* SpoolChunks::takeReady()
{
    if (m_ready.empty())
        reclaim();
    if (m_ready.empty())
        return nullptr;
    SpoolChunk* const chunk = m_ready.back();
    m_ready.pop_back();
    return chunk;
}

SpoolChunk* SpoolChunks::takeEmpty()
{
    if (!m_empty.empty()) {
        SpoolChunk* const chunk = m_empty.back();
        m_empty.pop_back();
        return chunk;
    }
    try {
        // Room for it in each list, so that nothing is refused when it goes from one to another.
        const std::size_t count = m_all.size() + 1;
        for (std::vector<SpoolChunk*>* list : {&m_ready, &m_empty, &m_evicted})
            if (list->capacity() < count)
                list->reserve(count * 2);
        m_all.push_back(std::make_unique<SpoolChunk>());
        return m_all.back().get();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void SpoolChunks::giveBack(SpoolChunk* chunk)
{
    (chunk->memory.bytes() ? m_ready : m_empty).push_back(chunk);
}

void SpoolChunks::evict(qint64 index)
{
    SpoolChunk* const chunk = slotOf(index)->load(std::memory_order_acquire);
    chunk->index = SpoolChunk::none;
    (chunk->pins == 0 ? m_ready : m_evicted).push_back(chunk);
}

void SpoolChunks::reclaim()
{
    const auto pinned = std::partition(m_evicted.begin(), m_evicted.end(),
                                       [](const SpoolChunk* chunk) { return chunk->pins != 0; });
    m_ready.insert(m_ready.end(), pinned, m_evicted.end());
    m_evicted.erase(pinned, m_evicted.end());
}

void SpoolChunks::trim(Surplus* surplus, qint64 most)
{
    const auto kept = std::size_t(std::clamp<qint64>(most, 0, mostReady));
    if (m_ready.size() <= kept)
        return;
    try {
        surplus->reserve(surplus->size() + m_ready.size());
    } catch (const std::bad_alloc&) {
        return; // it stays ready until another time
    }
    while (m_ready.size() > kept) {
        SpoolChunk* const chunk = m_ready.back();
        m_ready.pop_back();
        surplus->push_back(std::move(chunk->memory));
        m_empty.push_back(chunk);
        --m_allocated;
    }
}

} // namespace kel
