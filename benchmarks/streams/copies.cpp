#include "streams/BenchmarkFile.h"
#include "support/Memory.h"
#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"
#include "support/kernelCopy.h"

#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>

#include <QBuffer>
#include <QFile>
#include <QFileInfo>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

// StreamUtils: from memory to memory, within one stream, from file to file.

namespace bench {
namespace {

constexpr int total = 64 << 20;
constexpr int pass = 4096; // of StreamUtils
constexpr int shift = 1 << 20; // of a range that is moved onto itself

char* memory(int number)
{
    static const Memory bytes[] = {Memory(total + shift), Memory(total + shift)};
    return bytes[number].data();
}

template <typename Buffer>
Buffer& opened(int number)
{
    static QByteArray bytes[] = {QByteArray(noise(total + shift).data(), total + shift),
                                 QByteArray(noise(total + shift).data(), total + shift)};
    static Buffer buffers[2]{Buffer(&bytes[0]), Buffer(&bytes[1])};
    if (!buffers[number].isOpen())
        buffers[number].open(QIODevice::ReadWrite);
    return buffers[number];
}

/** One pass of a loop over Qt's devices. */
bool transfer(QIODevice& source, qint64 from, QIODevice& target, qint64 to, qint64 size)
{
    alignas(64) char buffer[pass];
    return source.seek(from) && source.read(buffer, size) == size && target.seek(to)
           && target.write(buffer, size) == size;
}

void copyMemory()
{
    std::memcpy(memory(1), memory(0), total);
    benchmark::ClobberMemory();
}

void addMemoryCopy()
{
    const auto contender
        = [](const char* name, Work work) { add("stream-copy", "64Mi", name, std::move(work)); };
    contender(limit, copyMemory);
    contender(standard, [] {
        alignas(64) char buffer[pass];
        for (int at = 0; at < total; at += pass) {
            std::memcpy(buffer, memory(0) + at, pass);
            benchmark::ClobberMemory();
            std::memcpy(memory(1) + at, buffer, pass);
        }
    });
    contender(qt, [] {
        QIODevice& source = opened<QBuffer>(0);
        QIODevice& target = opened<QBuffer>(1);
        for (int at = 0; at < total; at += pass)
            insist(transfer(source, at, target, at, pass), "QBuffer copied too little");
    });
    contender(quarn, [] {
        insist(kel::StreamUtils::copy(&opened<kel::QRandomAccessIO>(0), 0,
                                      &opened<kel::QRandomAccessIO>(1), 0, total)
                   == total,
               "StreamUtils copied too little");
    });
}

/** Up and down again: from the end of the range and from its beginning cost differently. */
void addMove()
{
    const auto contender = [](const char* name, bool (*move)(int from, int to)) {
        add("stream-move", "64Mi", name,
            [move] { insist(move(0, shift) && move(shift, 0), "too little was moved"); });
    };
    contender(limit, [](int from, int to) {
        std::memmove(memory(0) + to, memory(0) + from, total);
        benchmark::ClobberMemory();
        return true;
    });
    contender(standard, [](int from, int to) {
        alignas(64) char buffer[pass];
        for (int done = 0; done < total; done += pass) {
            const int at = from > to ? done : total - done - pass;
            std::memcpy(buffer, memory(0) + from + at, pass);
            benchmark::ClobberMemory();
            std::memcpy(memory(0) + to + at, buffer, pass);
        }
        return true;
    });
    contender(qt, [](int from, int to) {
        QIODevice& device = opened<QBuffer>(0);
        bool whole = true;
        for (int done = 0; done < total && whole; done += pass) {
            const int at = from > to ? done : total - done - pass;
            whole = transfer(device, from + at, device, to + at, pass);
        }
        return whole;
    });
    contender(quarn, [](int from, int to) {
        return kel::StreamUtils::copy(&opened<kel::QRandomAccessIO>(0), from, to, total) == total;
    });
}

void addFileCopy()
{
    const auto contender = [](const char* name, void (*copy)(const QString&, const QString&)) {
        add("stream-copy-file", "64Mi", name,
            [copy] { copy(Scratch::file(total), Scratch::path(QStringLiteral("copy"))); });
    };
    contender(limit, [](const QString& from, const QString& to) {
        copyByKernel(QFile::encodeName(from).constData(), QFile::encodeName(to).constData(), total);
    });
    contender(standard, [](const QString& from, const QString& to) {
        const int source = ::open(QFile::encodeName(from).constData(), O_RDONLY | O_CLOEXEC);
        const int target = ::open(QFile::encodeName(to).constData(),
                                  O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        alignas(64) char buffer[pass];
        bool whole = true;
        for (int at = 0; at < total && whole; at += pass)
            whole = ::read(source, buffer, pass) == pass && ::write(target, buffer, pass) == pass;
        ::close(source);
        ::close(target);
        insist(whole, "read() and write() copied too little");
    });
    contender(qt, [](const QString& from, const QString& to) {
        QFile source(from);
        QFile target(to);
        source.open(QIODevice::ReadOnly);
        target.open(QIODevice::WriteOnly);
        alignas(64) char buffer[pass];
        bool whole = true;
        for (int at = 0; at < total && whole; at += pass)
            whole = source.read(buffer, pass) == pass && target.write(buffer, pass) == pass;
        insist(whole && target.flush(), "QFile copied too little");
    });
    contender(quarn, [](const QString& from, const QString& to) {
        BenchmarkFile source(from);
        BenchmarkFile target(to);
        source.open(QIODevice::ReadOnly);
        target.open(QIODevice::WriteOnly);
        insist(kel::StreamUtils::copy(&source, 0, &target, 0, total) == total,
               "StreamUtils copied too little");
    });
}

void addFastCopies()
{
    add("stream-copy-fast", "64Mi", limit, copyMemory);
    add("stream-copy-fast", "64Mi", quarn, [] {
        insist(kel::StreamUtils::copyFast(&opened<kel::QRandomAccessIO>(0), 0,
                                          &opened<kel::QRandomAccessIO>(1), 0, total)
                   == total,
               "copyFast() copied too little");
    });
    constexpr qint64 size = 256 << 20;
    const auto contender = [](const char* name, void (*copy)(const QString&, const QString&)) {
        add("stream-copy-fast-file", "256Mi", name,
            [copy] { copy(Scratch::file(size), Scratch::path(QStringLiteral("copy"))); });
    };
    contender(limit, [](const QString& from, const QString& to) {
        copyByKernel(QFile::encodeName(from).constData(), QFile::encodeName(to).constData(), size);
    });
    contender(quarn, [](const QString& from, const QString& to) {
        kel::FileStream source(from, QIODevice::ReadOnly);
        kel::FileStream target(to, QIODevice::WriteOnly);
        insist(kel::StreamUtils::copyFast(&source, 0, &target, 0, -1) == size,
               "copyFast() copied too little");
    });
}

} // namespace

void addStreamCopies()
{
    addMemoryCopy();
    addMove();
    addFileCopy();
    addFastCopies();
}

} // namespace bench
