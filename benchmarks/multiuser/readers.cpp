#include "multiuser/Relay.h"
#include "support/contest.h"
#include "support/families.h"

// One producer and several readers at once, each in a thread of its own.

namespace bench {
namespace {

constexpr int mebibyte = 1 << 20;
constexpr int largeBlock = 65536;

void addRelay(const std::string& item, const std::string& parameter, const Relay& relay,
              std::initializer_list<const char*> contenders)
{
    for (const std::string contender : contenders)
        addMeasured(item, parameter, contender, [=] { return relay.run(contender); });
}

void addReaders(int readers)
{
    // 16 readers get less, or a repetition would take a second.
    const qint64 total = (readers < 16 ? 256LL : 64LL) * mebibyte;
    for (const int block : {4096, largeBlock})
        addRelay("readers", std::to_string(readers) + 'x' + binary(block),
                 {readers, block, total, mebibyte}, {limit, standard, qt, quarn});

    // The producer's event loop after each write: readers hear of every block.
    const int block = 4096;
    const std::string parameter = std::to_string(readers) + 'x' + binary(block);
    addRelay("readers-eager", parameter, {readers, block, total, mebibyte}, {limit});
    addRelay("readers-eager", parameter, {readers, block, total, block}, {quarn});
}

} // namespace

void addReaders()
{
    for (const int readers : {1, 4, 16})
        addReaders(readers);
    for (const int readers : {1, 2, 4, 8, 16, 32, 64})
        addRelay("readers-curve", std::to_string(readers),
                 {readers, largeBlock, 32 * mebibyte, mebibyte}, {limit, qt, quarn});
    for (const qint64 total : {1, 4, 16, 64, 256, 1024})
        addRelay("buffer-size", binary(total * mebibyte),
                 {1, largeBlock, total * mebibyte, mebibyte}, {limit, qt, quarn});
}

} // namespace bench
