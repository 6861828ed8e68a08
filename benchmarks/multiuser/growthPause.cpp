#include "multiuser/Relay.h"
#include "support/contest.h"
#include "support/families.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <thread>

// How long a buffer that grows holds up a reader: the longest call of a reader that asks for a few
// bytes every 20 microseconds and that lags so far behind that they are there already. It never
// waits for data, only for the lock, and sleeping between the calls it doesn't slow the producer. A
// pause that begins while it sleeps is seen short by that sleep at most.

namespace bench {
namespace {

constexpr int mebibyte = 1 << 20;
constexpr auto rest = std::chrono::microseconds(20);

/** Seconds of the longest call until \a finished. */
double longestCall(const Channel::Read& read, const std::atomic<bool>& finished)
{
    std::array<char, 16> bytes{};
    qint64 done = 0;
    bool right = true;
    double longest = 0;
    for (bool last = false; !last;) {
        last = finished;
        int count = 0;
        longest
            = std::max(longest, seconds([&] { count = read(bytes.data(), int(bytes.size())); }));
        right = right && (count == 0 || bytes[0] == Relay::byteAt(done));
        done += count;
        std::this_thread::sleep_for(rest);
    }
    insist(right && done > 0, "the reader got nothing, or not what was written");
    return longest;
}

double measure(const std::string& contender, qint64 total)
{
    const Relay relay{1, 65536, total, mebibyte};
    const std::unique_ptr<Channel> channel = makeChannel(contender, 1, total);
    fetchMemory(total);
    std::atomic<bool> finished{false};
    std::promise<void> ready;
    auto longest = std::async(std::launch::async, [&] {
        const Channel::Read read = channel->poller();
        ready.set_value();
        return longestCall(read, finished);
    });
    ready.get_future().wait();
    const bool whole = relay.produce(*channel);
    finished = true;
    insist(whole, "a write failed");
    return longest.get();
}

} // namespace

void addGrowthPause()
{
    for (const qint64 total : {1, 4, 16, 64, 256, 1024}) {
        for (const std::string contender : {limit, qt, quarn})
            addMeasured("growth-pause", binary(total * mebibyte), contender,
                        [=] { return measure(contender, total * mebibyte); });
    }
}

} // namespace bench
