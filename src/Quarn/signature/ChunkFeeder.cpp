#include <Quarn/signature/ChunkFeeder_p.h>

#include <QThread>

#include <system_error>
#include <utility>

namespace kel {

ChunkFeeder::ChunkFeeder(Consumer consumer)
    : m_consumer(std::move(consumer)), m_chunks(new Chunk[roomCount])
{ }

ChunkFeeder::~ChunkFeeder()
{
    end(true);
}

char* ChunkFeeder::room()
{
    if (m_thread.joinable()) {
        std::unique_lock<std::mutex> lock(m_mutex);
        // For several at once: each wake-up costs the consumer, who is the slower one then.
        if (m_fed - m_consumed == roomCount)
            m_changed.wait(lock, [this] { return m_fed - m_consumed <= roomCount / 2; });
    }
    return at(m_fed).data;
}

void ChunkFeeder::feed(int size)
{
    Chunk& chunk = at(m_fed);
    chunk.size = std::size_t(size);
    if (m_chunksToThread > 0 && --m_chunksToThread == 0)
        startThread();
    if (!m_thread.joinable()) {
        m_consumedAll = m_consumedAll && m_consumer(chunk.data, chunk.size);
        return;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_fed;
    m_changed.notify_one();
}

bool ChunkFeeder::finish()
{
    end(false);
    return m_consumedAll;
}

void ChunkFeeder::startThread()
{
    if (QThread::idealThreadCount() < 2)
        return;
    try {
        m_thread = std::thread(&ChunkFeeder::run, this);
    } catch (const std::system_error&) {
        // No more threads are to be had: the caller's own does it all.
    }
}

/** In the second thread. */
void ChunkFeeder::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_fed > m_consumed || m_ended; });
        if (m_dropRest || m_fed == m_consumed)
            return;
        const Chunk& chunk = at(m_consumed);
        if (m_consumedAll) {
            lock.unlock();
            const bool consumed = m_consumer(chunk.data, chunk.size);
            lock.lock();
            m_consumedAll = consumed;
        }
        ++m_consumed;
        if (m_fed - m_consumed == roomCount / 2)
            m_changed.notify_one();
    }
}

void ChunkFeeder::end(bool dropRest)
{
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ended = true;
        m_dropRest = dropRest;
        m_changed.notify_one();
    }
    m_thread.join();
}

} // namespace kel
