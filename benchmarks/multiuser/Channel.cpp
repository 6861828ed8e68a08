#include "multiuser/Channel.h"

#include "support/contest.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserSpool.h>

#include <QBuffer>
#include <QMutex>
#include <QWaitCondition>

#include <sys/mman.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>

namespace bench {
namespace {

/** One array that never grows. Its memory comes as it is written, the cheapest that there is. */
class LimitChannel : public Channel
{
public:
    explicit LimitChannel(qint64 total)
        : m_size(std::size_t(total)),
          m_start(static_cast<char*>(
              ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        insist(m_start != MAP_FAILED, "not enough memory");
        ::madvise(m_start, m_size, MADV_HUGEPAGE);
    }

    ~LimitChannel() override { ::munmap(m_start, m_size); }

    bool write(const char* data, int size) override
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            std::memcpy(m_start + m_written, data, std::size_t(size));
            m_written += size;
        }
        m_changed.notify_all();
        return true;
    }

    void close() override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_closed = true;
        m_changed.notify_all();
    }

    Read reader(int) override { return makeReader(true); }
    Read poller() override { return makeReader(false); }

private:
    Read makeReader(bool blocking)
    {
        return [this, blocking, done = qint64(0)](char* data, int maxSize) mutable {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (blocking)
                m_changed.wait(lock, [&] { return m_written > done || m_closed; });
            const auto count = std::min<qint64>(m_written - done, maxSize);
            std::memcpy(data, m_start + done, std::size_t(count));
            done += count;
            return int(count);
        };
    }

    const std::size_t m_size;
    char* const m_start;
    std::mutex m_mutex; // guards all that follows, and the bytes
    std::condition_variable m_changed;
    qint64 m_written = 0;
    bool m_closed = false;
};

class QtChannel : public Channel
{
public:
    QtChannel() { m_buffer.open(QIODevice::ReadWrite); }

    bool write(const char* data, int size) override
    {
        qint64 written = 0;
        {
            const QMutexLocker locker(&m_mutex);
            m_buffer.seek(m_buffer.size());
            written = m_buffer.write(data, size);
        }
        m_changed.wakeAll();
        return written == size;
    }

    void close() override
    {
        const QMutexLocker locker(&m_mutex);
        m_closed = true;
        m_changed.wakeAll();
    }

    Read reader(int) override { return makeReader(true); }
    Read poller() override { return makeReader(false); }

private:
    Read makeReader(bool blocking)
    {
        return [this, blocking, done = qint64(0)](char* data, int maxSize) mutable {
            const QMutexLocker locker(&m_mutex);
            while (blocking && m_buffer.size() == done && !m_closed)
                m_changed.wait(&m_mutex);
            m_buffer.seek(done);
            const qint64 count = m_buffer.read(data, maxSize);
            done += count;
            return int(count);
        };
    }

    QMutex m_mutex; // guards all that follows
    QWaitCondition m_changed;
    QBuffer m_buffer;
    bool m_closed = false;
};

class QuarnChannel : public Channel
{
public:
    bool write(const char* data, int size) override { return m_buffer->write(data, size) == size; }
    void close() override { m_buffer->close(); }
    Read reader(int) override { return makeReader(true); }
    Read poller() override { return makeReader(false); }

private:
    Read makeReader(bool blocking)
    {
        return [reader = kel::MultiUserBuffer::createReaderInterface(m_buffer, blocking)](
                   char* data, int maxSize) { return reader->read(data, maxSize); };
    }

    const boost::shared_ptr<kel::MultiUserBuffer> m_buffer{new kel::MultiUserBuffer};
};

/** Keeps it all in memory. */
class SpoolChannel : public Channel
{
public:
    explicit SpoolChannel(qint64 total)
    {
        kel::MultiUserSpoolSettings settings;
        settings.memoryLimit = 2 * total + (1 << 27);
        m_spool.reset(new kel::MultiUserSpool(settings));
    }

    bool write(const char* data, int size) override { return m_spool->write(data, size) == size; }
    void close() override { m_spool->close(); }
    Read reader(int) override { return makeReader(true); }
    Read poller() override { return makeReader(false); }

private:
    Read makeReader(bool blocking)
    {
        return [reader = kel::MultiUserSpool::createReaderInterface(m_spool, blocking)](
                   char* data, int maxSize) { return reader->read(data, maxSize); };
    }

    boost::shared_ptr<kel::MultiUserSpool> m_spool;
};

} // namespace

std::unique_ptr<Channel> makeChannel(const std::string& contender, int readers, qint64 total)
{
    if (contender == limit)
        return std::make_unique<LimitChannel>(total);
    if (contender == standard)
        return makePipeChannel(readers);
    if (contender == qt)
        return std::make_unique<QtChannel>();
    if (contender == spool)
        return std::make_unique<SpoolChannel>(total);
    return std::make_unique<QuarnChannel>();
}

} // namespace bench
