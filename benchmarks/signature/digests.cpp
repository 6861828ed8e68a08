#include "signature/OpenSsl.h"
#include "signature/SignedFile.h"
#include "support/Memory.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/streams/MappedFileStream.h>
#include <Quarn/streams/QRandomAccessIO.h>

#include <QBuffer>
#include <QCryptographicHash>
#include <QFile>
#include <QProcess>

#include <boost/make_shared.hpp>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

// SHA-1 of memory in pieces of 4096 bytes, of a device, of a stream and of a file.

namespace bench {
namespace {

constexpr int total = 64 << 20;
constexpr int piece = 4096;

const char* memory()
{
    static const Memory bytes(total);
    return bytes.data();
}

template <typename Feed>
void eachPiece(Feed feed)
{
    for (int at = 0; at < total; at += piece)
        feed(memory() + at);
}

Context started()
{
    Context context(EVP_MD_CTX_new());
    insist(EVP_DigestInit_ex(context.get(), EVP_sha1(), nullptr), "no SHA-1");
    return context;
}

void finish(EVP_MD_CTX* context)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    insist(EVP_DigestFinal_ex(context, digest, nullptr), "no digest");
    benchmark::DoNotOptimize(digest);
}

void addMemory()
{
    add("sha1-memory", "64Mi", limit, [] {
        const Context context = started();
        eachPiece([&](const char* bytes) { EVP_DigestUpdate(context.get(), bytes, piece); });
        finish(context.get());
    });
    add("sha1-memory", "64Mi", qt, [] {
        QCryptographicHash hash(QCryptographicHash::Sha1);
        eachPiece([&](const char* bytes) { hash.addData(QByteArray::fromRawData(bytes, piece)); });
        insist(!hash.result().isEmpty(), "no digest");
    });
    add("sha1-memory", "64Mi", quarn, [] {
        kel::SignatureDigest digest;
        int done = 0;
        eachPiece([&](const char* bytes) { done += digest.digest(bytes, piece); });
        insist(done == total, "not all was digested");
    });
}

/** What comes from a device or a stream is copied once. */
void addCopyingLimit(const char* item)
{
    add(item, "64Mi", limit, [] {
        const Context context = started();
        alignas(64) char buffer[piece];
        eachPiece([&](const char* bytes) {
            std::memcpy(buffer, bytes, piece);
            EVP_DigestUpdate(context.get(), buffer, piece);
        });
        finish(context.get());
    });
}

void addDevice()
{
    const auto opened = [](QBuffer& buffer) -> QIODevice* {
        static QByteArray bytes(memory(), total);
        buffer.setBuffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        return &buffer;
    };
    addCopyingLimit("sha1-device");
    add("sha1-device", "64Mi", qt, [opened] {
        QBuffer buffer;
        QCryptographicHash hash(QCryptographicHash::Sha1);
        insist(hash.addData(opened(buffer)), "the device could not be read");
        insist(!hash.result().isEmpty(), "no digest");
    });
    add("sha1-device", "64Mi", quarn, [opened] {
        QBuffer buffer;
        kel::SignatureDigest digest;
        insist(digest.digest(opened(buffer), -1) == total, "the device was not read to its end");
    });
}

void addStream()
{
    addCopyingLimit("sha1-stream");
    add("sha1-stream", "64Mi", quarn, [] {
        static QByteArray bytes(memory(), total);
        const auto stream = boost::make_shared<kel::QRandomAccessIO>(&bytes);
        stream->open(QIODevice::ReadOnly);
        kel::SignatureDigest digest;
        insist(digest.digest(stream, -1) == total, "the stream was not read to its end");
    });
}

void readAndDigest()
{
    const int file
        = ::open(QFile::encodeName(SignedFile::instance().path).constData(), O_RDONLY | O_CLOEXEC);
    const Context context = started();
    alignas(64) char buffer[piece];
    qint64 done = 0;
    for (ssize_t count; (count = ::read(file, buffer, piece)) > 0; done += count)
        EVP_DigestUpdate(context.get(), buffer, std::size_t(count));
    ::close(file);
    insist(done == SignedFile::size, "the file was not read to its end");
    finish(context.get());
}

void addFile()
{
    const auto contender
        = [](const char* name, Work work) { add("sha1-file", "256Mi", name, std::move(work)); };
    contender(limit, readAndDigest);
    contender(standard, [] {
        insist(QProcess::execute(QStringLiteral("openssl"),
                                 {QStringLiteral("dgst"), QStringLiteral("-sha1"),
                                  QStringLiteral("-out"), QStringLiteral("/dev/null"),
                                  SignedFile::instance().path})
                   == 0,
               "openssl could not be run");
    });
    contender(qt, [] {
        QFile file(SignedFile::instance().path);
        QCryptographicHash hash(QCryptographicHash::Sha1);
        insist(file.open(QIODevice::ReadOnly) && hash.addData(&file), "the file could not be read");
        insist(!hash.result().isEmpty(), "no digest");
    });
    contender(quarn, [] {
        kel::SignatureDigest digest;
        insist(digest.digestFile(SignedFile::instance().path) == SignedFile::size,
               "the file was not read to its end");
    });
}

void addMappedFile()
{
    add("sha1-mapped", "256Mi", limit, readAndDigest);
    add("sha1-mapped", "256Mi", quarn, [] {
        const kel::MappedFileStream file(SignedFile::instance().path);
        kel::SignatureDigest digest;
        const auto bytes = reinterpret_cast<const char*>(file.data(0, file.streamSize()));
        insist(bytes && digest.digest(bytes, int(file.streamSize())) == SignedFile::size
                   && !file.ioFailureDetected(),
               "the file was not read to its end");
    });
}

} // namespace

void addDigests()
{
    addMemory();
    addDevice();
    addStream();
    addFile();
    addMappedFile();
}

} // namespace bench
