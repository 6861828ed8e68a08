#include "multiuser/Relay.h"
#include "signature/OpenSsl.h"
#include "support/Memory.h"
#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>

#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

// The spool: readers without an event loop, pauses of the producer, what was spilled read back, and
// digests without copying. How it wakes readers is measured beside the others' wake-ups.

namespace bench {
namespace {

constexpr int mebibyte = 1 << 20;
constexpr int piece = 65536;

void addReaders(int readers, int block)
{
    const qint64 total = (readers < 16 ? 256LL : 64LL) * mebibyte;
    const Relay relay{readers, block, total, mebibyte};
    const std::string parameter = std::to_string(readers) + 'x' + binary(block);
    for (const std::string contender : {limit, standard, qt, spool})
        addMeasured("spool-readers", parameter, contender == spool ? quarn : contender,
                    [=] { return relay.run(contender); });
}

/** Seconds that 999 of 1000 writes stay below while the channel grows to \a total. */
double pauseOfWrites(const std::string& contender, qint64 total)
{
    const std::unique_ptr<Channel> channel = makeChannel(contender, 1, total);
    fetchMemory(total);
    const std::vector<char>& bytes = noise(piece);
    std::vector<double> pauses;
    bool whole = true;
    for (qint64 done = 0; done < total; done += piece)
        pauses.push_back(seconds([&] { whole = channel->write(bytes.data(), piece) && whole; }));
    insist(whole, "a write failed");
    const auto rank = pauses.begin() + std::ptrdiff_t(double(pauses.size()) * 0.999);
    std::nth_element(pauses.begin(), rank, pauses.end());
    return *rank;
}

void addPauses()
{
    for (const qint64 total : {1, 4, 16, 64, 256, 1024})
        for (const std::string contender : {limit, qt, spool})
            addMeasured("spool-pause", binary(total * mebibyte),
                        contender == spool ? quarn : contender,
                        [=] { return pauseOfWrites(contender, total * mebibyte); });
}

constexpr qint64 spilled = 256LL * mebibyte;

/** A spool of which \a spilled bytes are in a file, and some more in memory. */
std::unique_ptr<kel::MultiUserSpool> spilledSpool()
{
    kel::MultiUserSpoolSettings settings;
    settings.memoryLimit = 8 * mebibyte;
    settings.spillFolder = QFileInfo(Scratch::path(QStringLiteral("spill"))).path();
    auto result = std::make_unique<kel::MultiUserSpool>(settings);
    const std::vector<char>& bytes = noise(mebibyte);
    while (result->figures().spilled < spilled)
        insist(result->writeBlock(bytes.data(), mebibyte), "a write failed");
    return result;
}

double plainReadBack(char* buffer)
{
    const QByteArray path = Scratch::file(spilled).toLocal8Bit();
    const int file = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    insist(file >= 0, "no file");
    bool right = true;
    const double taken = seconds([&] {
        for (qint64 done = 0; done < spilled; done += piece)
            right = ::read(file, buffer, piece) == piece && right;
    });
    ::close(file);
    insist(right, "a read failed");
    return taken;
}

double spoolReadBack(char* buffer)
{
    const std::unique_ptr<kel::MultiUserSpool> full = spilledSpool();
    kel::MultiUserSpoolReader reader(full.get(), true);
    bool right = true;
    const double taken = seconds([&] {
        for (qint64 done = 0; done < spilled; done += piece)
            right = reader.read(buffer, piece) == piece
                    && buffer[0] == noise(mebibyte)[std::size_t(done % mebibyte)] && right;
    });
    insist(right, "a read failed");
    return taken;
}

void addReadBack()
{
    const auto buffer = std::make_shared<Memory>(piece);
    addMeasured("spool-read-back", "256Mi", limit, [=] { return plainReadBack(buffer->data()); });
    addMeasured("spool-read-back", "256Mi", quarn, [=] { return spoolReadBack(buffer->data()); });
}

constexpr int hashed = 64 * mebibyte;

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

void addDigest()
{
    const auto memory = std::make_shared<Memory>(hashed);
    add("spool-sha1", "64Mi", limit, [=] {
        const Context context = started();
        for (int at = 0; at < hashed; at += 2 * mebibyte)
            EVP_DigestUpdate(context.get(), memory->data() + at, 2 * mebibyte);
        finish(context.get());
    });
    kel::MultiUserSpoolSettings settings;
    settings.memoryLimit = 2 * hashed;
    const auto full = std::make_shared<kel::MultiUserSpool>(settings);
    add("spool-sha1", "64Mi", quarn, [=] {
        if (full->size() == 0)
            insist(full->writeBlock(memory->data(), hashed), "a write failed");
        full->finishIO();
        kel::MultiUserSpoolReader reader(full.get(), true);
        const Context context = started();
        for (kel::MultiUserSpoolView view; !(view = reader.readView()).isEmpty();)
            EVP_DigestUpdate(context.get(), view.data(), std::size_t(view.size()));
        finish(context.get());
        insist(reader.atEnd() && reader.pos() == hashed, "not all of it was hashed");
    });
}

} // namespace

void addSpool()
{
    for (const int readers : {1, 4, 16})
        for (const int block : {4096, piece})
            addReaders(readers, block);
    addPauses();
    addReadBack();
    addDigest();
}

} // namespace bench
