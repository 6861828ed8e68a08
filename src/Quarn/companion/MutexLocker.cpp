#include <Quarn/companion/MutexLocker.h>

#include <Quarn/companion/Mutex.h>

namespace kel {

MutexLocker::MutexLocker(Mutex& mutex, bool takeNow) : m_lock(mutex, std::defer_lock)
{
    if (takeNow)
        m_lock.lock();
}

MutexLocker::~MutexLocker() = default;

void MutexLocker::lock()
{
    m_lock.lock();
}

void MutexLocker::unlock()
{
    m_lock.unlock();
}

} // namespace kel
