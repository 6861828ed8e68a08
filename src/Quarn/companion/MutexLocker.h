#ifndef QUARN_COMPANION_MUTEXLOCKER_H
#define QUARN_COMPANION_MUTEXLOCKER_H

#include <Quarn/quarn_export.h>

#include <mutex>

namespace kel {
class Mutex;

/**
 * Holds a Mutex for its scope.
 *
 * \par Threads
 * A locker is used by the thread that made it.
 */
class QUARN_EXPORT MutexLocker
{
public:
    /** Takes \a mutex, waiting for it if need be; with \a takeNow false, only lock() does. */
    explicit MutexLocker(Mutex& mutex, bool takeNow = true);
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;
    ~MutexLocker();

    /** Takes the mutex, waiting for it; throws std::system_error when this locker has it. */
    void lock();
    /** Gives the mutex back early; throws std::system_error when this locker has it not. */
    void unlock();

private:
    std::unique_lock<Mutex> m_lock;
};

} // namespace kel
#endif
