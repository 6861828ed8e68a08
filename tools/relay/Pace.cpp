#include "Pace.h"

#include "platform/StopSwitch.h"

#include <algorithm>
#include <limits>

namespace {

constexpr qint64 largestBlock = 64 * 1024;
constexpr qint64 blocksPerSecond = 20;

} // namespace

Pace::Pace(qint64 bytesPerSecond, const StopSwitch& stop)
    : m_bytesPerSecond(bytesPerSecond), m_stop(stop), m_startMsecs(0), m_count(0)
{
    m_clock.start();
}

int Pace::blockSize() const
{
    if (m_bytesPerSecond == 0)
        return largestBlock;
    return int(std::clamp<qint64>(m_bytesPerSecond / blocksPerSecond, 1, largestBlock));
}

bool Pace::keep(int count)
{
    if (m_bytesPerSecond == 0)
        return !m_stop.stopped();
    m_count += count;
    const qint64 now = m_clock.elapsed();
    const qint64 due = m_startMsecs + m_count * 1000 / m_bytesPerSecond;
    if (due > now)
        return m_stop.sleep(int(std::min<qint64>(due - now, std::numeric_limits<int>::max())));
    if (now - due > 1000) {
        // The input paused. It may not make up for that in a burst.
        m_startMsecs = now;
        m_count = 0;
    }
    return !m_stop.stopped();
}
