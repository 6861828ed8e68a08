#include <Quarn/streams/StreamUtils.h>

#include <Quarn/interfaces/IRandomAccessIO.h>
#include <Quarn/streams/streamPasses_p.h>

namespace kel {
namespace {

qint64 copyByPages(const CopyRange& range, const TransferProgress* progress)
{
    if (range.length == 0)
        return 0;
    alignas(64) unsigned char buffer[passSize]; // a copy that starts amid a cache line is slow
    return copyInPasses(range, buffer, passSize, progress);
}

} // namespace

qint64 StreamUtils::copy(IRandomAccessIO* source, qint64 sourcePosition,
                         IRandomAccessIO* destination, qint64 destinationPosition, qint64 length)
{
    return copyByPages(
        CopyRange::of(source, sourcePosition, destination, destinationPosition, length), nullptr);
}

qint64 StreamUtils::copy(IRandomAccessIO* source, qint64 sourcePosition,
                         IRandomAccessIO* destination, qint64 destinationPosition, qint64 length,
                         const TransferProgress& progress)
{
    return copyByPages(
        CopyRange::of(source, sourcePosition, destination, destinationPosition, length),
        progress ? &progress : nullptr);
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
