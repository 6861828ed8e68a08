#include <Quarn/streams/SubStream.h>

#include <algorithm>
#include <limits>

namespace kel {
namespace {

qint64 boundedLength(qint64 offset, qint64 length)
{
    const qint64 most = std::numeric_limits<qint64>::max() - std::max<qint64>(offset, 0);
    return length < 0 ? most : std::min(length, most);
}

} // namespace

SubStream::SubStream(IRandomAccessIO* stream, qint64 offset, qint64 length)
    : m_stream(offset < 0 ? nullptr : stream), m_offset(offset),
      m_length(boundedLength(offset, length)), m_position(0), m_misplaced(false), m_failed(false)
{ }

SubStream::SubStream(const boost::shared_ptr<IRandomAccessIO>& stream, qint64 offset, qint64 length)
    : m_owned(stream), m_stream(offset < 0 ? nullptr : stream.get()), m_offset(offset),
      m_length(boundedLength(offset, length)), m_position(0), m_misplaced(false), m_failed(false)
{ }

SubStream::~SubStream() = default;

/** \a transfer(size) at the position in the stream, with what of \a size is inside the range. */
template <typename Transfer>
int SubStream::transferred(qint64 size, Transfer transfer)
{
    const int allowed = int(std::min(size, m_length - m_position));
    if (size <= 0 || (allowed == 0 && !m_misplaced))
        return 0;
    if (m_misplaced)
        return -1;
    const int count = m_stream->setPosition(m_offset + m_position) ? transfer(allowed) : -1;
    m_failed = count < 0 || count > allowed;
    if (m_failed)
        return -1;
    m_position += count;
    return count;
}

int SubStream::read(void* data, int maxSize)
{
    if (!m_stream)
        return maxSize == 0 ? 0 : -1;
    return transferred(maxSize, [this, data](int size) { return m_stream->read(data, size); });
}

int SubStream::write(const void* data, int size)
{
    if (!m_stream)
        return size == 0 ? 0 : -1;
    return transferred(size, [this, data](int fits) { return m_stream->write(data, fits); });
}

void SubStream::enableNonBlockingMode(bool enable)
{
    if (m_stream)
        m_stream->enableNonBlockingMode(enable);
}

bool SubStream::nonBlocking()
{
    return m_stream && m_stream->nonBlocking();
}

bool SubStream::readable()
{
    return m_stream && m_stream->readable();
}

bool SubStream::writable()
{
    return m_stream && m_stream->writable();
}

void SubStream::flush()
{
    if (m_stream)
        m_stream->flush();
}

void SubStream::finishIO()
{
    flush();
}

bool SubStream::ioFailureDetected() const
{
    return !m_stream || m_misplaced || m_failed || m_stream->ioFailureDetected();
}

unsigned int SubStream::getVerificationFailures() const
{
    return m_stream ? m_stream->getVerificationFailures() : 0;
}

qint64 SubStream::position() const
{
    return m_position;
}

bool SubStream::setPosition(qint64 position)
{
    m_misplaced = position < 0 || position > m_length;
    if (m_misplaced)
        return false;
    m_position = position;
    m_failed = false; // it is another transfer that counts now
    return true;
}

qint64 SubStream::streamSize() const
{
    const qint64 size = m_stream ? m_stream->streamSize() : 0;
    return size < 0 ? -1 : std::clamp<qint64>(size - m_offset, 0, m_length);
}

bool SubStream::eofEncountered() const
{
    if (streamSize() >= 0)
        return RandomAccessStream::eofEncountered();
    return m_position >= m_length || m_stream->eofEncountered();
}

} // namespace kel
