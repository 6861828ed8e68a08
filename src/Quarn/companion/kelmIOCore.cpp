#include <Quarn/companion/kelmIOCore.h>

#include <Quarn/companion/kelmBuffer.h>

#include <boost/make_shared.hpp>

#include <algorithm>
#include <limits>

namespace {

constexpr int firstChunk = 16 * 1024;
constexpr int largestChunk = 4 * 1024 * 1024;

/** Repeats \a transfer(done, rest) until \a size bytes went through; returns those that did. */
template <typename Transfer>
int repeated(int size, Transfer transfer)
{
    int done = 0;
    while (done < size) {
        const int count = transfer(done, size - done);
        if (count <= 0 || count > size - done)
            break;
        done += count;
    }
    return done;
}

/**
 * Reads \a stream to its end in growing chunks: \a room(size) makes the target hold size bytes
 * and returns its first. Returns the bytes read, at most \a limit.
 */
template <typename Room>
qint64 readToEnd(kel::IIOInterface& stream, int chunk, qint64 limit, Room room)
{
    qint64 total = 0;
    while (total < limit) {
        const int wanted = int(std::min<qint64>(chunk, limit - total));
        unsigned char* const target = room(total + wanted) + total;
        const int count = stream.read(target, wanted);
        if (count <= 0 || count > wanted)
            break;
        total += count;
        if (count == wanted)
            chunk = std::max(chunk, std::min(chunk * 2, largestChunk));
    }
    return total;
}

} // namespace

kelmIOCore::~kelmIOCore() = default;

int kelmIOCore::read(kelmBuffer& buffer, int size)
{
    if (buffer.size() < size)
        buffer.setSize(size);
    return read(buffer.firstByte(), size);
}

bool kelmIOCore::readBlock(kelmBuffer& buffer, int size)
{
    if (buffer.size() < size)
        buffer.setSize(size);
    return readBlock(buffer.firstByte(), size);
}

int kelmIOCore::readAll(kelmBuffer& buffer, int size)
{
    const int before = buffer.size();
    const auto room = [&buffer](qint64 needed) {
        if (buffer.size() < needed)
            buffer.setSize(int(needed));
        return buffer.firstByte();
    };
    const qint64 count = readToEnd(*this, size > 0 ? std::min(size, largestChunk) : firstChunk,
                                   std::numeric_limits<int>::max() - 64, room);
    buffer.setSize(std::max(before, int(count)));
    return int(count);
}

boost::shared_ptr<kelmBuffer> kelmIOCore::readAll(int size)
{
    const auto buffer = boost::make_shared<kelmBuffer>(0, 1);
    readAll(*buffer, size);
    return buffer;
}

bool kelmIOCore::readBlock(void* data, int size)
{
    const auto bytes = static_cast<unsigned char*>(data);
    return size >= 0
           && repeated(size, [&](int done, int rest) { return read(bytes + done, rest); }) == size;
}

void kelmIOCore::readAll(std::vector<unsigned char>& data)
{
    const auto room = [&data](qint64 needed) {
        data.resize(std::size_t(needed));
        return data.data();
    };
    const qint64 count = readToEnd(*this, firstChunk, std::numeric_limits<qint64>::max() / 2, room);
    data.resize(std::size_t(count));
}

bool kelmIOCore::writeBlock(const void* data, int size)
{
    const auto bytes = static_cast<const unsigned char*>(data);
    return size >= 0
           && repeated(size, [&](int done, int rest) { return write(bytes + done, rest); }) == size;
}
