// Mixed work of all families for some minutes: memory, descriptors and threads must stay as they are.
#include "rounds.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <unistd.h>

namespace {

constexpr long mostGrowth = 1024; // KiB

struct Sample
{
    long memory = 0; // KiB
    long descriptors = 0;
    long threads = 0;
};

long entriesOf(const char* folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return long(std::distance(begin(entries), end(entries)));
}

/** Between two rounds, and without what malloc() only keeps ready. */
Sample sample()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QThreadPool::globalInstance()->waitForDone();
    // A thread that was waited for is in the list for another moment.
    for (int tries = 0; tries < 500 && entriesOf("/proc/self/task") > 1; ++tries)
        QThread::msleep(10);
    ::malloc_trim(0);
    long size = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return {resident * ::sysconf(_SC_PAGESIZE) / 1024, entriesOf("/proc/self/fd"),
            entriesOf("/proc/self/task")};
}

/** The samples since the start; what memory takes goes up and down by more than it may grow. */
class Samples
{
public:
    void add(const Sample& now, bool warm)
    {
        m_warm = m_warm || warm;
        if (!m_warm)
            m_most = std::max(m_most, now.memory);
        m_changed
            = m_changed
              || (m_warm
                  && (now.descriptors != m_last.descriptors || now.threads != m_last.threads));
        m_last = now;
        m_recent[m_count++ % m_recent.size()] = now.memory;
    }

    /** Whether even the least of the last six samples is more than there ever was at first. */
    bool haveGrown() const
    {
        return m_changed
               || (m_warm
                   && *std::min_element(m_recent.begin(), m_recent.end()) > m_most + mostGrowth);
    }

private:
    std::array<long, 6> m_recent{};
    std::size_t m_count = 0;
    Sample m_last;
    long m_most = 0;
    bool m_warm = false;
    bool m_changed = false;
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const double minutes = argc > 1 ? std::atof(argv[1]) : 60;
    const double warmUp = minutes * 60 / 5; // seconds

    QElapsedTimer clock;
    clock.start();
    const auto seconds = [&clock] { return double(clock.elapsed()) / 1000; };
    long done = 0;
    Samples samples;
    std::printf("second   rounds  memory(KiB)  descriptors  threads\n");
    for (double next = 0; seconds() < minutes * 60;) {
        for (const Round& round : rounds()) {
            if (!round.run()) {
                std::printf("%s: a wrong result in round %ld\n", round.family, done);
                return EXIT_FAILURE;
            }
        }
        ++done;
        if (seconds() < next)
            continue;
        next += 10;
        const Sample now = sample();
        std::printf("%6.0f %8ld %12ld %12ld %8ld\n", seconds(), done, now.memory, now.descriptors,
                    now.threads);
        std::fflush(stdout);
        samples.add(now, seconds() > warmUp);
        if (samples.haveGrown()) {
            std::printf("More than after the warm-up\n");
            return EXIT_FAILURE;
        }
    }
    std::printf("Nothing has grown\n");
    return EXIT_SUCCESS;
}
