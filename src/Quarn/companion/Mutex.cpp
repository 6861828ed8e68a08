#include <Quarn/companion/Mutex.h>

namespace kel {

Mutex::Mutex() = default;

Mutex::~Mutex() = default;

void Mutex::lock()
{
    m_mutex.lock();
}

bool Mutex::try_lock()
{
    return m_mutex.try_lock();
}

void Mutex::unlock()
{
    m_mutex.unlock();
}

} // namespace kel
