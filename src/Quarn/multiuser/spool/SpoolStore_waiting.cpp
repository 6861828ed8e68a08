#include <Quarn/multiuser/spool/SpoolReading_p.h>
#include <Quarn/multiuser/spool/SpoolStore_p.h>

#include <algorithm>
#include <new>
#include <utility>

namespace kel {

bool SpoolStore::await(SpoolReading* reading, qint64 position, const Deadline& deadline)
{
    Lock lock(m_mutex);
    reading->m_awaited = position;
    for (bool late = false;;) {
        if (!m_passingOn)
            m_listening |= Waiting; // or the one who passes on looks for all
        const bool last = late || ended();
        if (reading->cancelled())
            return false;
        if (m_written > position || last)
            return m_written > position;
        m_waiting.splice(m_waiting.end(), reading->m_waitingNode);
        const auto woken = [reading] { return reading->m_woken; };
        if (!deadline)
            reading->m_wake->wait(lock, woken);
        else
            late = !reading->m_wake->wait_until(lock, *deadline, woken);
        if (!std::exchange(reading->m_woken, false)) {
            reading->m_waitingNode.splice(reading->m_waitingNode.end(), m_waiting,
                                          std::find(m_waiting.begin(), m_waiting.end(), reading));
            continue;
        }
        const bool arrived = m_written > position && !reading->cancelled();
        const Wake next = passOn();
        lock.unlock();
        if (next)
            next->notify_one();
        if (arrived)
            return true;
        lock.lock();
    }
}

/** Who has stored m_written calls this when somebody listens. */
void SpoolStore::wakeListeners()
{
    Wake first;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        postAll();
        if (!m_passingOn)
            first = passOn();
    }
    if (first)
        first->notify_one();
}

/**
 * Chooses the next of those who wait for bytes that are there now; to be notified without the lock.
 * It will choose another in turn: the producer isn't held up by waking many, which all wake at once
 * to take little, and write on. The last one leaves m_listening as it is to be.
 */
SpoolStore::Wake SpoolStore::passOn()
{
    m_passingOn = false;
    if (m_waiting.empty()) {
        m_listening &= ~Waiting;
        return nullptr;
    }
    m_listening |= Waiting; // before it looks
    const qint64 written = m_written;
    for (SpoolReading* reading : m_waiting)
        if (reading->m_awaited < written) {
            m_listening &= ~Waiting;
            m_passingOn = true;
            wake(reading);
            return reading->m_wake;
        }
    return nullptr;
}

/** Takes \a reading out of the waiting ones; its condition variable is to be notified. */
void SpoolStore::wake(SpoolReading* reading)
{
    const auto node = std::find(m_waiting.begin(), m_waiting.end(), reading);
    reading->m_waitingNode.splice(reading->m_waitingNode.end(), m_waiting, node);
    reading->m_woken = true;
}

void SpoolStore::cancel(SpoolReading* reading)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    reading->m_cancelled = true;
    post(reading);
    if (reading->m_waitingNode.empty()) {
        wake(reading);
        reading->m_wake->notify_one();
    }
}

void SpoolStore::postAll()
{
    m_listening &= ~Notified;
    for (SpoolReading* reading : m_readings)
        post(reading);
}

void SpoolStore::post(SpoolReading* reading)
{
    if (!reading->m_post || reading->m_posted)
        return;
    try {
        reading->m_post();
        reading->m_posted = true;
    } catch (const std::bad_alloc&) {
        m_listening |= Notified; // the next write makes up for it
    }
}

void SpoolStore::listen(SpoolReading* reading, std::function<void()> notification)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    reading->m_post = std::move(notification);
    post(reading); // what is there already
}

void SpoolStore::rearm(SpoolReading* reading)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    reading->m_posted = false;
    m_listening |= Notified;
}

} // namespace kel
