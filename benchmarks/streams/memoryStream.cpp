#include "support/Memory.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/streams/QRandomAccessIO.h>

#include <QBuffer>

#include <cstring>
#include <sstream>

// Writing over, and reading, 64 MiB that are in memory already, block by block.

namespace bench {
namespace {

constexpr int total = 64 << 20;

/** What is written from and read into: half a page off the beginning, where large arrays begin. */
char* block()
{
    static const Memory bytes(1 << 20, 2048);
    return bytes.data();
}

char* memory()
{
    static const Memory bytes(total);
    return bytes.data();
}

std::stringstream& stringStream()
{
    static std::stringstream stream(std::string(noise(total).data(), total));
    return stream;
}

template <typename Buffer>
Buffer& opened()
{
    static QByteArray bytes(noise(total).data(), total);
    static Buffer buffer(&bytes);
    if (!buffer.isOpen())
        buffer.open(QIODevice::ReadWrite);
    return buffer;
}

/** Has \a transfer move each block of \a size bytes to or from a position. */
template <typename Transfer>
void eachBlock(int size, Transfer transfer)
{
    for (int at = 0; at < total; at += size)
        insist(transfer(block(), at), "a memory stream transferred too little");
}

void addWrite(int size)
{
    const auto contender = [parameter = binary(size)](const char* name, Work work) {
        add("memory-write", parameter, name, std::move(work));
    };
    contender(limit, [size] {
        eachBlock(size, [to = memory(), size](const char* data, int at) {
            std::memcpy(to + at, data, std::size_t(size));
            benchmark::ClobberMemory();
            return true;
        });
    });
    contender(standard, [size] {
        std::stringstream& stream = stringStream();
        stream.seekp(0);
        eachBlock(size, [&](const char* data, int) { return bool(stream.write(data, size)); });
    });
    contender(qt, [size] {
        QIODevice& device = opened<QBuffer>();
        device.seek(0);
        eachBlock(size, [&](const char* data, int) { return device.write(data, size) == size; });
    });
    contender(quarn, [size] {
        kel::IRandomAccessIO& stream = opened<kel::QRandomAccessIO>();
        stream.setPosition(0);
        eachBlock(size, [&](const char* data, int) { return stream.write(data, size) == size; });
    });
}

void addRead(int size)
{
    const auto contender = [parameter = binary(size)](const char* name, Work work) {
        add("memory-read", parameter, name, std::move(work));
    };
    contender(limit, [size] {
        eachBlock(size, [from = memory(), size](char* data, int at) {
            std::memcpy(data, from + at, std::size_t(size));
            benchmark::ClobberMemory();
            return true;
        });
    });
    contender(standard, [size] {
        std::stringstream& stream = stringStream();
        stream.seekg(0);
        eachBlock(size, [&](char* data, int) { return bool(stream.read(data, size)); });
    });
    contender(qt, [size] {
        QIODevice& device = opened<QBuffer>();
        device.seek(0);
        eachBlock(size, [&](char* data, int) { return device.read(data, size) == size; });
    });
    contender(quarn, [size] {
        kel::IRandomAccessIO& stream = opened<kel::QRandomAccessIO>();
        stream.setPosition(0);
        eachBlock(size, [&](char* data, int) { return stream.read(data, size) == size; });
    });
}

} // namespace

void addMemoryStream()
{
    for (const int size : {64, 256, 1024, 4096, 16384, 65536, 262144, 1048576}) {
        addWrite(size);
        addRead(size);
    }
}

} // namespace bench
