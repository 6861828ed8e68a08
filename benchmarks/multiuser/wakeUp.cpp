#include "support/contest.h"
#include "support/families.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserSpool.h>

#include <QCoreApplication>
#include <QEventLoop>

#include <fcntl.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// From a write to the moment when a reader that slept in another thread of the same processor has the
// byte.

namespace bench {
namespace {

constexpr int samples = 2000;

/** Tells when the reader has woken up, and whether it sleeps again. */
class Sleeper
{
public:
    Sleeper() = default;
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    ~Sleeper() { ::close(m_state); }

    /** To be called by the reader's thread when it is ready for the first byte. */
    void begin()
    {
        const std::string path = "/proc/self/task/" + std::to_string(::gettid()) + "/stat";
        m_state = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        m_begun = true;
    }

    /** The reader has got the next byte. */
    void wake()
    {
        m_woken = Clock::now();
        ++m_count;
    }

    /** Returns when the reader has got \a count bytes. */
    void awaitCount(int count) const
    {
        while (m_count != count)
            std::this_thread::sleep_for(glance);
    }

    /** Returns when the reader has got \a count bytes and is blocked in waiting for the next one. */
    void awaitSleep(int count) const
    {
        while (!m_begun || m_count != count || !asleep())
            std::this_thread::sleep_for(glance);
    }

    Clock::time_point woken() const { return m_woken; }

private:
    bool asleep() const
    {
        std::array<char, 128> line{};
        const ssize_t size = ::pread(m_state, line.data(), line.size() - 1, 0);
        const char* const state = std::strrchr(line.data(), ')'); // behind the thread's name
        insist(size > 0 && state, "the state of a thread is unknown");
        return state[2] == 'S';
    }

    static constexpr auto glance = std::chrono::microseconds(10);

    int m_state = -1; // set before m_begun
    std::atomic<bool> m_begun{false};
    std::atomic<int> m_count{0};
    Clock::time_point m_woken; // set before m_count
};

/** Rings; a thread of its own answers. */
class Bell
{
public:
    Bell() = default;
    Bell(const Bell&) = delete;
    Bell& operator=(const Bell&) = delete;
    virtual ~Bell() = default;

    virtual void ring() = 0;
    /**
     * Runs in the reader's thread: calls begin(), then wake() after each ring, and returns after
     * the last.
     */
    virtual void listen(Sleeper& sleeper) = 0;
};

class ConditionBell : public Bell
{
public:
    void ring() override
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            ++m_rung;
        }
        m_changed.notify_all();
    }

    void listen(Sleeper& sleeper) override
    {
        sleeper.begin();
        for (int heard = 0; heard < samples; ++heard) {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [&] { return m_rung > heard; });
            lock.unlock();
            sleeper.wake();
        }
    }

private:
    std::mutex m_mutex; // guards m_rung
    std::condition_variable m_changed;
    int m_rung = 0;
};

class EventBell : public Bell
{
public:
    ~EventBell() override { ::close(m_event); }

    void ring() override { ::eventfd_write(m_event, 1); }

    void listen(Sleeper& sleeper) override
    {
        sleeper.begin();
        eventfd_t value = 0;
        for (int heard = 0; heard < samples && ::eventfd_read(m_event, &value) == 0; ++heard)
            sleeper.wake();
    }

private:
    const int m_event = ::eventfd(0, EFD_CLOEXEC);
};

class QtBell : public Bell
{
public:
    void ring() override { QMetaObject::invokeMethod(m_receiver, m_hear, Qt::QueuedConnection); }

    void listen(Sleeper& sleeper) override
    {
        QObject receiver;
        QEventLoop loop;
        m_receiver = &receiver;
        int heard = 0;
        m_hear = [&] { // copied with each call
            sleeper.wake();
            if (++heard == samples)
                loop.quit();
        };
        sleeper.begin();
        loop.exec();
    }

private:
    // Both set before the reader begins.
    QObject* m_receiver = nullptr;
    std::function<void()> m_hear;
};

class QuarnBell : public Bell
{
public:
    void ring() override
    {
        m_buffer->write("x", 1);
        QCoreApplication::processEvents();
    }

    void listen(Sleeper& sleeper) override
    {
        const auto reader = kel::MultiUserBuffer::createReaderInterface(m_buffer, true);
        sleeper.begin();
        char byte = 0;
        for (int heard = 0; heard < samples && reader->read(&byte, 1) == 1; ++heard)
            sleeper.wake();
    }

private:
    const boost::shared_ptr<kel::MultiUserBuffer> m_buffer{new kel::MultiUserBuffer};
};

class SpoolBell : public Bell
{
public:
    void ring() override { m_spool->write("x", 1); }

    void listen(Sleeper& sleeper) override
    {
        const auto reader = kel::MultiUserSpool::createReaderInterface(m_spool, true);
        sleeper.begin();
        char byte = 0;
        for (int heard = 0; heard < samples && reader->read(&byte, 1) == 1; ++heard)
            sleeper.wake();
    }

private:
    const boost::shared_ptr<kel::MultiUserSpool> m_spool{new kel::MultiUserSpool};
};

/**
 * Keeps this thread and those it starts on the processor that it runs on. Whether the scheduler wakes
 * a thread here or on another one is chance, and to rouse that takes longer than all else.
 */
class OneProcessor
{
public:
    OneProcessor()
    {
        ::sched_getaffinity(0, sizeof m_before, &m_before);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(unsigned(::sched_getcpu()), &one);
        ::sched_setaffinity(0, sizeof one, &one); // where it is forbidden, chance remains
    }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;
    ~OneProcessor() { ::sched_setaffinity(0, sizeof m_before, &m_before); }

private:
    cpu_set_t m_before;
};

/** Seconds that a part of \a rank of all wake-ups stays below. */
template <typename Contender>
double measure(double rank)
{
    const OneProcessor here;
    Contender bell;
    Sleeper sleeper;
    auto listening = std::async(std::launch::async, [&] { bell.listen(sleeper); });
    std::vector<double> latencies;
    for (int number = 0; number < samples; ++number) {
        sleeper.awaitSleep(number);
        const auto rung = Clock::now();
        bell.ring();
        sleeper.awaitCount(number + 1);
        latencies.push_back(std::chrono::duration<double>(sleeper.woken() - rung).count());
    }
    listening.get();
    const auto found = latencies.begin() + std::ptrdiff_t(rank * samples);
    std::nth_element(latencies.begin(), found, latencies.end());
    return *found;
}

void addWakeUp(const char* parameter, double rank)
{
    const auto contender = [parameter](const char* name, std::function<double()> latency) {
        addMeasured("wake-up", parameter, name, std::move(latency));
    };
    contender(limit, [rank] { return measure<ConditionBell>(rank); });
    contender(standard, [rank] { return measure<EventBell>(rank); });
    contender(qt, [rank] { return measure<QtBell>(rank); });
    contender(quarn, [rank] { return measure<QuarnBell>(rank); });
    addMeasured("spool-wake-up", parameter, limit, [rank] { return measure<ConditionBell>(rank); });
    addMeasured("spool-wake-up", parameter, quarn, [rank] { return measure<SpoolBell>(rank); });
}

} // namespace

void addWakeUp()
{
    addWakeUp("median", 0.5);
    addWakeUp("99%", 0.99);
}

} // namespace bench
