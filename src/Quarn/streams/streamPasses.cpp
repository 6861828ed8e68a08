#include <Quarn/streams/streamPasses_p.h>

#include <Quarn/interfaces/IRandomAccessIO.h>

#include <algorithm>

namespace kel {
namespace {

/** Bytes from \a position to the end of \a source; the largest count when it lies beyond. */
qint64 lengthToEnd(const IRandomAccessIO* source, qint64 position)
{
    const qint64 size = source->streamSize();
    if (position < 0 && size > farthest + position)
        return farthest;
    const qint64 length = size - position;
    return length < 0 ? farthest : length;
}

/**
 * The one buffer of a copy, and the two streams that it moves bytes between. Their positions are set
 * before each transfer, whatever position() says: they may share a file, or be moved by others.
 */
class Pass
{
public:
    Pass(const CopyRange& range, unsigned char* buffer, int size, const TransferProgress* progress,
         qint64 before)
        : m_source(range.source), m_destination(range.destination), m_buffer(buffer), m_size(size),
          m_progress(progress), m_before(before),
          m_total(range.lengthKnown ? before + range.length : -1)
    { }

    int size() const { return m_size; }

    /** One read at \a position behind \a filled bytes of a chunk; 0 when nothing usable came. */
    int read(qint64 position, int filled, int wanted)
    {
        m_source->setPosition(position);
        const int count = m_source->read(m_buffer + filled, wanted);
        return count > wanted ? 0 : std::max(count, 0);
    }

    /** Bytes from \a position on, found by reading them. */
    qint64 countToEnd(qint64 position)
    {
        qint64 total = 0;
        for (int count = 1; count > 0 && total < farthest - position - m_size; total += count)
            count = read(position + total, 0, m_size);
        return total;
    }

    /** One write of \a count bytes of the chunk behind \a written; 0 when none was taken. */
    int write(qint64 position, int written, int count)
    {
        m_destination->setPosition(position);
        const int accepted = m_destination->write(m_buffer + written, count);
        return accepted > count ? 0 : std::max(accepted, 0);
    }

    /** Whether to go on after \a done bytes. */
    bool report(qint64 done) const
    {
        return !m_progress || (*m_progress)(m_before + done, m_total);
    }

private:
    IRandomAccessIO* const m_source;
    IRandomAccessIO* const m_destination;
    unsigned char* const m_buffer;
    const int m_size;
    const TransferProgress* const m_progress;
    const qint64 m_before;
    const qint64 m_total;
};

/** A short transfer loses nothing: the next pass starts at the first byte not yet written. */
qint64 copyForwards(Pass& pass, qint64 from, qint64 to, qint64 length)
{
    qint64 count = 0;
    while (count < length) {
        const int chunk = int(std::min<qint64>(length - count, pass.size()));
        const int read = pass.read(from + count, 0, chunk);
        const int written = read > 0 ? pass.write(to + count, 0, read) : 0;
        if (written <= 0)
            break;
        count += written;
        if (!pass.report(count))
            break;
    }
    return count;
}

/**
 * A chunk is read whole before any of it is written: in one stream the write may cover bytes of
 * the same chunk that a short read left behind. When the source ends inside a chunk, the bytes in
 * front of its end are copied all the same.
 */
qint64 copyBackwards(Pass& pass, qint64 from, qint64 to, qint64 length)
{
    qint64 count = 0;
    for (qint64 rest = length; rest > 0;) {
        const int chunk = int(std::min<qint64>(rest, pass.size()));
        rest -= chunk;

        int filled = 0;
        while (filled < chunk) {
            const int read = pass.read(from + rest + filled, filled, chunk - filled);
            if (read == 0)
                break;
            filled += read;
        }
        int written = 0;
        while (written < filled) {
            const int accepted = pass.write(to + rest + written, written, filled - written);
            if (accepted == 0)
                break;
            written += accepted;
        }
        count += written;
        if (filled == 0 || written < filled || !pass.report(count))
            break;
    }
    return count;
}

} // namespace

CopyRange CopyRange::of(IRandomAccessIO* source, qint64 from, IRandomAccessIO* destination,
                        qint64 to, qint64 length)
{
    bool lengthKnown = true;
    if (length < 0) {
        length = lengthToEnd(source, from);
        lengthKnown = length != farthest;
    }
    const qint64 highest = std::max({from, to, qint64(0)});
    return CopyRange{source,      from, destination, to, std::min(length, farthest - highest),
                     lengthKnown, false};
}

CopyRange CopyRange::behind(qint64 count) const
{
    return CopyRange{source,         from + count, destination,          to + count,
                     length - count, lengthKnown,  forwards || count > 0};
}

qint64 copyInPasses(const CopyRange& range, unsigned char* buffer, int bufferSize,
                    const TransferProgress* progress, qint64 before)
{
    CopyRange copied = range;
    if (!range.lengthKnown && range.source == range.destination && range.from < range.to) {
        // Forwards the copy would read what it has written, for ever.
        Pass counting(range, buffer, bufferSize, nullptr, 0);
        copied.length = counting.countToEnd(range.from);
        copied.lengthKnown = true;
    }
    Pass pass(copied, buffer, bufferSize, progress, before);
    return copied.lengthKnown && copied.from < copied.to && !copied.forwards
               ? copyBackwards(pass, copied.from, copied.to, copied.length)
               : copyForwards(pass, copied.from, copied.to, copied.length);
}

} // namespace kel
