#include <Quarn/access/fileTransfer_p.h>

#include <QIODevice>

#include <algorithm>
#include <limits>
#include <new>

namespace kel {
namespace {

using Size = decltype(QByteArray().size()); // not the same in Qt 5 and Qt 6

constexpr qint64 smallestPiece = 16384;
constexpr qint64 largestPiece = 1 << 20; // unless as much has come already
constexpr qint64 largestArray = std::numeric_limits<Size>::max() - 64; // Qt's header goes off

/** Whether the memory of \a bytes can take \a size others, neither copied first nor mostly unused. */
bool serves(const QByteArray& bytes, qint64 size)
{
    return bytes.isDetached() && bytes.capacity() >= size && bytes.capacity() / 2 <= size;
}

bool grow(QByteArray& bytes, qint64 size)
{
    try {
        bytes.resize(Size(size));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace

bool readUpTo(QIODevice& device, qint64 maxSize, QByteArray& target)
{
    const qint64 limit = std::min(maxSize, largestArray);
    if (!serves(target, std::min(limit, std::max(device.bytesAvailable(), smallestPiece))))
        target = QByteArray();
    const qint64 atHand = target.capacity();
    qint64 size = 0;
    bool enoughMemory = true;
    while (size < limit) {
        const qint64 known = std::clamp(device.bytesAvailable(), smallestPiece, largestPiece);
        const qint64 piece = std::min(limit - size, std::max({size, known, atHand - size}));
        enoughMemory = grow(target, size + piece);
        if (!enoughMemory)
            break;
        const qint64 count = device.read(target.data() + size, piece);
        size += std::max(count, qint64(0));
        target.resize(Size(size));
        // A read that fails halfway gives what came before; only the next one tells.
        if (count <= 0 || (count < piece && device.isSequential()))
            break;
    }
    if (size == 0)
        target = QByteArray();
    return enoughMemory;
}

qint64 writeAll(QIODevice& device, const QByteArray& data)
{
    qint64 written = 0;
    do {
        // A short count comes without an error; only the next attempt tells the reason.
        const qint64 count = device.write(data.constData() + written, data.size() - written);
        if (count <= 0)
            return written > 0 ? written : count;
        written += count;
    } while (written < data.size());
    return written;
}

} // namespace kel
