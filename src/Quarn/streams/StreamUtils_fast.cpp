#include <Quarn/streams/StreamUtils.h>

#include <Quarn/platform/KernelCopy_p.h>
#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/MappedFileStream.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/streamPasses_p.h>

#include <QElapsedTimer>

#include <algorithm>
#include <memory>
#include <new>
#include <typeinfo>

namespace kel {
namespace {

constexpr int largePassSize = 256 << 10;
constexpr qint64 observedChunk = 4 << 20; // between two calls of the progress
constexpr qint64 largestChunk = 1 << 30; // of a write

/** How far a copy came by a way of its own; the rest is left to passes unless it is cancelled. */
struct Advance
{
    qint64 count = 0;
    bool cancelled = false;
};

/** The copy as pieces that \a move(done, size) moves; fewer bytes than \a size end it. */
template <typename Move>
Advance inChunks(const CopyRange& range, const TransferProgress* progress, Move move)
{
    Advance advance;
    bool complete = true;
    while (complete && !advance.cancelled && advance.count < range.length) {
        const qint64 chunk
            = std::min(range.length - advance.count, progress ? observedChunk : largestChunk);
        const qint64 moved = move(advance.count, chunk);
        complete = moved == chunk;
        advance.count += moved;
        if (progress && moved > 0)
            advance.cancelled = !(*progress)(advance.count, range.lengthKnown ? range.length : -1);
    }
    return advance;
}

/** The stream as an object of just this class: a derived one may read and write in its own way. */
template <typename Stream>
Stream* exactly(IRandomAccessIO* stream)
{
    return typeid(*stream) == typeid(Stream) ? dynamic_cast<Stream*>(stream) : nullptr;
}

bool canBeCopiedBySystem(FileStream& file)
{
    return file.isOpen() && !file.isSequential() && file.handle() >= 0
           && !(file.openMode() & (QIODevice::Text | QIODevice::Append));
}

void forgetReadAhead(FileStream& file)
{
    const qint64 place = file.pos();
    file.QIODevice::seek(farthest);
    file.QIODevice::seek(place);
}

void addToFigures(FileStream& file, quint64 read, quint64 written, quint64 nsecs)
{
    quint64 bytesRead, bytesWritten, readNsecs, writeNsecs;
    file.getThroughputStats(bytesRead, bytesWritten, readNsecs, writeNsecs);
    file.setThroughputStats(bytesRead + read, bytesWritten + written,
                            readNsecs + (read > 0 ? nsecs : 0),
                            writeNsecs + (written > 0 ? nsecs : 0));
}

Advance copyBySystem(FileStream& source, FileStream& destination, const CopyRange& range,
                     const TransferProgress* progress)
{
    if (!canBeCopiedBySystem(source) || !canBeCopiedBySystem(destination)
        || !static_cast<QFile&>(source).flush() || !static_cast<QFile&>(destination).flush())
        return Advance();
    forgetReadAhead(destination);
    const int from = source.handle();
    const int to = destination.handle();
    QElapsedTimer timer;
    timer.start();
    const Advance advance = inChunks(range, progress, [&](qint64 done, qint64 size) {
        return kernelCopy(from, range.from + done, to, range.to + done, size);
    });
    const auto count = quint64(advance.count);
    const auto nsecs = quint64(timer.nsecsElapsed());
    addToFigures(source, count, 0, nsecs);
    addToFigures(destination, 0, count, nsecs);
    if (count > 0) {
        source.setPosition(range.from + advance.count);
        destination.setPosition(range.to + advance.count);
    }
    return advance;
}

/** Writes bytes that are in memory, as far as \a stillGood() after that. */
template <typename Check>
Advance writeBytes(const unsigned char* bytes, const CopyRange& range,
                   const TransferProgress* progress, Check stillGood)
{
    return inChunks(range, progress, [&](qint64 done, qint64 size) -> qint64 {
        qint64 moved = 0;
        while (moved < size) {
            const int wanted = int(size - moved);
            range.destination->setPosition(range.to + done + moved);
            const int count = range.destination->write(bytes + done + moved, wanted);
            if (count <= 0 || count > wanted || !stillGood())
                break;
            moved += count;
        }
        return moved;
    });
}

CopyRange cut(CopyRange range, qint64 available)
{
    range.length = std::clamp<qint64>(available, 0, range.length);
    return range;
}

Advance copyFromMemory(QRandomAccessIO& source, const CopyRange& range,
                       const TransferProgress* progress)
{
    const auto other = dynamic_cast<QBuffer*>(range.destination);
    if (!source.isReadable() || range.from < 0 || (other && &other->buffer() == &source.buffer()))
        return Advance();
    const QByteArray bytes = source.data(); // which the destination's write can't take away
    if (range.from > bytes.size())
        return Advance();
    const auto first = reinterpret_cast<const unsigned char*>(bytes.constData()) + range.from;
    const CopyRange there = cut(range, bytes.size() - range.from);
    const Advance advance = writeBytes(first, there, progress, [] { return true; });
    if (advance.count > 0)
        source.setPosition(range.from + advance.count);
    return advance;
}

Advance copyFromMapping(MappedFileStream& source, const CopyRange& range,
                        const TransferProgress* progress)
{
    const CopyRange there = cut(range, source.streamSize() - range.from);
    const unsigned char* const first = source.data(range.from, there.length);
    if (!first)
        return Advance();
    const Advance advance
        = writeBytes(first, there, progress, [&source] { return !source.ioFailureDetected(); });
    if (advance.count > 0)
        source.setPosition(range.from + advance.count);
    return advance;
}

Advance copyByShortCut(const CopyRange& range, const TransferProgress* progress)
{
    if (range.source == range.destination)
        return Advance();
    if (const auto source = exactly<FileStream>(range.source))
        if (const auto destination = exactly<FileStream>(range.destination))
            return copyBySystem(*source, *destination, range, progress);
    if (const auto source = exactly<QRandomAccessIO>(range.source))
        return copyFromMemory(*source, range, progress);
    if (const auto source = exactly<MappedFileStream>(range.source))
        return copyFromMapping(*source, range, progress);
    return Advance();
}

} // namespace

qint64 StreamUtils::copyFast(IRandomAccessIO* source, qint64 sourcePosition,
                             IRandomAccessIO* destination, qint64 destinationPosition,
                             qint64 length, const TransferProgress& progress)
{
    const CopyRange range
        = CopyRange::of(source, sourcePosition, destination, destinationPosition, length);
    if (range.length == 0)
        return 0;
    const TransferProgress* const asked = progress ? &progress : nullptr;
    const Advance advance = copyByShortCut(range, asked);
    const CopyRange rest = range.behind(advance.count);
    if (advance.cancelled || rest.length == 0)
        return advance.count;
    const auto size = int(std::min<qint64>(rest.length, largePassSize));
    const std::unique_ptr<unsigned char[]> buffer(
        new (std::nothrow) unsigned char[std::size_t(size)]);
    if (buffer)
        return advance.count + copyInPasses(rest, buffer.get(), size, asked, advance.count);
    unsigned char small[passSize];
    return advance.count + copyInPasses(rest, small, passSize, asked, advance.count);
}

} // namespace kel
