#include <Quarn/companion/kelmBuffer.h>

#include <limits>

namespace {

int roundedUp(qint64 size, int granularity)
{
    const qint64 rounded = (size + granularity - 1) / granularity * granularity;
    return int(qMin<qint64>(rounded, std::numeric_limits<int>::max()));
}

} // namespace

kelmBuffer::kelmBuffer(int size, int granularity) : m_granularity(qMax(granularity, 1))
{
    setSize(size);
}

kelmBuffer::~kelmBuffer() = default;

int kelmBuffer::size() const
{
    return int(m_bytes.size());
}

void kelmBuffer::setSize(int size)
{
    const int wanted = qMax(size, 0);
    const qint64 capacity = m_bytes.capacity();
    if (wanted > capacity) {
        // Half as much again: repeated growth stays linear. A first size is taken exactly, and
        // the few bytes that QByteArray needs for itself must still fit below its limit.
        const int grown = roundedUp(qMax<qint64>(wanted, capacity + capacity / 2), m_granularity);
        constexpr int largest = std::numeric_limits<int>::max() - 64;
        m_bytes.reserve(qMax(wanted, qMin(grown, largest)));
    }
    m_bytes.resize(wanted);
}

unsigned char* kelmBuffer::firstByte()
{
    return reinterpret_cast<unsigned char*>(m_bytes.data());
}
