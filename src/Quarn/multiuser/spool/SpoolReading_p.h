#ifndef QUARN_MULTIUSER_SPOOL_SPOOLREADING_P_H
#define QUARN_MULTIUSER_SPOOL_SPOOLREADING_P_H

#include <Quarn/multiuser/spool/SpoolStore_p.h>

#include <condition_variable>
#include <functional>
#include <list>

namespace kel {

/**
 * \brief A reader's place in a store: what it still keeps, and how it is woken.
 *
 * Used by the reader's thread; cancel(), cancelled() and lag() by any.
 */
class SpoolReading
{
public:
    explicit SpoolReading(std::shared_ptr<SpoolStore> store);
    SpoolReading(const SpoolReading&) = delete;
    SpoolReading& operator=(const SpoolReading&) = delete;
    ~SpoolReading();

    SpoolStore& store() const { return *m_store; }

    /** Every byte from here on is kept. */
    qint64 position() const { return m_position; }
    qint64 lag() const;
    /** Keeps no longer what is before \a position. */
    void pass(qint64 position);

    void cancel();
    bool cancelled() const { return m_cancelled; }

    /**
     * Has \a post called when there are bytes or an end that the last call doesn't stand for: from
     * any thread, under the store's lock, and not again before rearm().
     */
    void listen(std::function<void()> post);
    void rearm();

    /** Held by a call of the reader's that the reader's end has to wait for. */
    std::mutex& callMutex() { return m_callMutex; }

private:
    friend class SpoolStore;

    const std::shared_ptr<SpoolStore> m_store;
    std::atomic<qint64> m_position{0};
    std::atomic<bool> m_cancelled{false};
    std::mutex m_callMutex; // taken before the store's

    // Guarded by the store's lock.
    const std::shared_ptr<std::condition_variable> m_wake; // notified without it: may come late
    std::list<SpoolReading*> m_waitingNode; // this, unless it stands among the store's waiting ones
    qint64 m_awaited = 0; // bytes behind this position
    bool m_woken = false;
    std::function<void()> m_post;
    bool m_posted = false;
};

} // namespace kel
#endif
