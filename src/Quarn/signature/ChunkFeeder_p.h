#ifndef QUARN_SIGNATURE_CHUNKFEEDER_P_H
#define QUARN_SIGNATURE_CHUNKFEEDER_P_H

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace kel {

/**
 * \brief Hands chunks to a consumer that works on one while the next is being read.
 *
 * The consumer gets them one after another: the first ones in the caller's thread, the others in a
 * second thread, where there is more than one processor and such a thread can be had. It lives as
 * long as this object.
 */
class ChunkFeeder
{
public:
    static constexpr int chunkSize = 256 * 1024;

    /** Answers whether the chunk was consumed; doesn't throw. */
    using Consumer = std::function<bool(const char* data, std::size_t size)>;

    explicit ChunkFeeder(Consumer consumer);
    ChunkFeeder(const ChunkFeeder&) = delete;
    ChunkFeeder& operator=(const ChunkFeeder&) = delete;
    /** Waits for the chunk that is being consumed; those behind it are dropped. */
    ~ChunkFeeder();

    /** Room for the next chunk; waits for it. */
    char* room();

    /** Hands over the \a size bytes that were put into room(). */
    void feed(int size);

    /** Waits until all chunks are consumed; whether all were. */
    bool finish();

private:
    static constexpr int roomCount = 8;
    static constexpr int chunksBeforeThread = 8;

    struct alignas(64) Chunk // a copy that starts amid a cache line is slow
    {
        char data[chunkSize];
        std::size_t size;
    };

    Chunk& at(long long number) { return m_chunks[number % roomCount]; }
    void startThread();
    void run();
    void end(bool dropRest);

    const Consumer m_consumer;
    const std::unique_ptr<Chunk[]> m_chunks;
    std::thread m_thread;
    int m_chunksToThread = chunksBeforeThread;

    std::mutex m_mutex; // guards what follows, once there is a thread
    std::condition_variable m_changed;
    long long m_fed = 0;
    long long m_consumed = 0;
    bool m_consumedAll = true;
    bool m_ended = false;
    bool m_dropRest = false;
};

} // namespace kel
#endif
