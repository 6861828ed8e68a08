#ifndef QUARN_COMPANION_MUTEX_H
#define QUARN_COMPANION_MUTEX_H

#include <Quarn/quarn_export.h>

#include <mutex>

namespace kel {

/**
 * A recursive mutex: a thread that holds it may take it again.
 *
 * \par Threads
 * Any; to be given back by the thread that took it, as often as it did.
 */
class QUARN_EXPORT Mutex
{
public:
    Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex(); // NOLINT(performance-trivially-destructible): exported since the first release

    /** Waits for other threads. */
    void lock();
    /** Never waits; true when the mutex was taken. */
    [[nodiscard]] bool try_lock();
    /** Gives back one lock() or successful try_lock(). */
    void unlock();

private:
    std::recursive_mutex m_mutex;
};

} // namespace kel
#endif
