#include <Quarn/streams/StreamUtils.h>

#include <Quarn/interfaces/IRandomAccessIO.h>

#include <algorithm>
#include <limits>

namespace kel {
namespace {

constexpr int passSize = 4096;
constexpr qint64 farthest = std::numeric_limits<qint64>::max();

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
    Pass(IRandomAccessIO* source, IRandomAccessIO* destination)
        : m_source(source), m_destination(destination)
    { }

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
        for (int count = 1; count > 0 && total < farthest - position - passSize; total += count)
            count = read(position + total, 0, passSize);
        return total;
    }

    /** One write of \a count bytes of the chunk behind \a written; 0 when none was taken. */
    int write(qint64 position, int written, int count)
    {
        m_destination->setPosition(position);
        const int accepted = m_destination->write(m_buffer + written, count);
        return accepted > count ? 0 : std::max(accepted, 0);
    }

private:
    IRandomAccessIO* const m_source;
    IRandomAccessIO* const m_destination;
    alignas(64) unsigned char m_buffer[passSize]; // a copy that starts amid a cache line is slow
};

/** A short transfer loses nothing: the next pass starts at the first byte not yet written. */
qint64 copyForwards(Pass& pass, qint64 from, qint64 to, qint64 length)
{
    qint64 count = 0;
    while (count < length) {
        const int chunk = int(std::min<qint64>(length - count, passSize));
        const int read = pass.read(from + count, 0, chunk);
        const int written = read > 0 ? pass.write(to + count, 0, read) : 0;
        if (written <= 0)
            break;
        count += written;
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
        const int chunk = int(std::min<qint64>(rest, passSize));
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
        if (filled == 0 || written < filled)
            break;
    }
    return count;
}

} // namespace

qint64 StreamUtils::copy(IRandomAccessIO* source, qint64 sourcePosition,
                         IRandomAccessIO* destination, qint64 destinationPosition, qint64 length)
{
    bool lengthKnown = true;
    if (length < 0) {
        length = lengthToEnd(source, sourcePosition);
        lengthKnown = length != farthest;
    }
    const qint64 highest = std::max({sourcePosition, destinationPosition, qint64(0)});
    length = std::min(length, farthest - highest); // no position behind the largest one
    if (length == 0)
        return 0;

    Pass pass(source, destination);
    if (!lengthKnown && source == destination && sourcePosition < destinationPosition) {
        // Forwards the copy would read what it has written, for ever.
        length = pass.countToEnd(sourcePosition);
        lengthKnown = true;
    }
    return lengthKnown && sourcePosition < destinationPosition
               ? copyBackwards(pass, sourcePosition, destinationPosition, length)
               : copyForwards(pass, sourcePosition, destinationPosition, length);
}

qint64 StreamUtils::copy(IRandomAccessIO* source, IRandomAccessIO* destination, qint64 length)
{
    const qint64 destinationPosition = destination->position();
    return copy(source, source->position(), destination, destinationPosition, length);
}

qint64 StreamUtils::copy(IRandomAccessIO* stream, qint64 from, qint64 to, qint64 length)
{
    return copy(stream, from, stream, to, length);
}

} // namespace kel
