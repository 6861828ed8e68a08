#ifndef QUARN_COMPANION_MUTEX_H
#define QUARN_COMPANION_MUTEX_H

#include <Quarn/quarn_export.h>

#include <mutex>

namespace kel {

/** A recursive mutex: a thread that holds it may take it again. */
class QUARN_EXPORT Mutex
{
public:
    Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex();

    void lock();
    [[nodiscard]] bool try_lock();
    void unlock();

private:
    std::recursive_mutex m_mutex;
};

} // namespace kel
#endif
