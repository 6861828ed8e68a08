#include <Quarn/multiuser/spool/SpoolReading_p.h>

#include <algorithm>
#include <utility>

namespace kel {

SpoolReading::SpoolReading(std::shared_ptr<SpoolStore> store)
    : m_store(std::move(store)),
      m_wake(std::make_shared<std::condition_variable>()), m_waitingNode{this}
{
    m_store->add(this);
}

SpoolReading::~SpoolReading()
{
    m_store->remove(this);
}

qint64 SpoolReading::lag() const
{
    return std::max<qint64>(m_store->written() - m_position, 0);
}

void SpoolReading::pass(qint64 position)
{
    const qint64 before = m_position.load(std::memory_order_relaxed);
    if (position <= before)
        return;
    m_position = position;
    m_store->passed(before, position);
}

void SpoolReading::cancel()
{
    m_store->cancel(this);
}

void SpoolReading::listen(std::function<void()> post)
{
    m_store->listen(this, std::move(post));
}

void SpoolReading::rearm()
{
    m_store->rearm(this);
}

} // namespace kel
