#include "multiuser/Relay.h"

#include "support/Memory.h"
#include "support/contest.h"

#include <QCoreApplication>
#include <QSemaphore>

#include <sys/mman.h>

#include <algorithm>
#include <future>
#include <vector>

namespace bench {
namespace {

constexpr int period = 1 << 20; // of what is written
constexpr std::size_t place = 2048; // half a page off the beginning, where large arrays begin

const Memory& written()
{
    static const Memory bytes(period, place);
    return bytes;
}

} // namespace

void fetchMemory(qint64 size)
{
    void* const memory = ::mmap(nullptr, std::size_t(size), PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    insist(memory != MAP_FAILED, "not enough memory");
    ::madvise(memory, std::size_t(size), MADV_HUGEPAGE);
    constexpr int page = 4096;
    for (qint64 at = 0; at < size; at += page)
        static_cast<volatile char*>(memory)[at] = 1;
    ::munmap(memory, std::size_t(size));
}

double Relay::run(const std::string& contender) const
{
    const std::unique_ptr<Channel> channel = makeChannel(contender, readers, total);
    fetchMemory(total);
    std::vector<std::unique_ptr<Memory>> buffers;
    std::vector<std::future<Clock::time_point>> ends;
    QSemaphore ready;
    for (int number = 0; number < readers; ++number) {
        buffers.push_back(std::make_unique<Memory>(block, place));
        const auto consumer = [&, number, buffer = buffers.back()->data()] {
            const Channel::Read read = channel->reader(number);
            ready.release();
            const bool right = consume(read, buffer);
            const auto end = Clock::now();
            insist(right, "a reader missed something");
            return end;
        };
        ends.push_back(std::async(std::launch::async, consumer));
    }
    ready.acquire(readers);

    const auto start = Clock::now();
    const bool whole = produce(*channel);
    auto end = start;
    for (auto& reader : ends)
        end = std::max(end, reader.get());
    insist(whole, "a write failed");
    return std::chrono::duration<double>(end - start).count();
}

bool Relay::produce(Channel& channel) const
{
    bool whole = true;
    for (qint64 done = 0; done < total && whole; done += block) {
        whole = channel.write(written().data() + done % period, block);
        if ((done + block) % eventsEach == 0)
            QCoreApplication::processEvents();
    }
    channel.close();
    return whole;
}

char Relay::byteAt(qint64 position)
{
    return written().data()[position % period];
}

bool Relay::consume(const Channel::Read& read, char* buffer) const
{
    qint64 done = 0;
    bool right = true;
    while (const int count = read(buffer, block)) {
        if (count < 0)
            return false;
        right = right && buffer[0] == byteAt(done) && buffer[count - 1] == byteAt(done + count - 1);
        done += count;
    }
    return right && done == total;
}

} // namespace bench
