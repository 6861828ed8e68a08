#ifndef QUARN_BENCHMARKS_MULTIUSER_CHANNEL_H
#define QUARN_BENCHMARKS_MULTIUSER_CHANNEL_H

#include <QtGlobal>

#include <functional>
#include <memory>
#include <string>

namespace bench {

/** What one producer writes and all readers read to the end, as one contender does it. */
class Channel
{
public:
    /** Reads up to as many bytes as are asked for; waits for one at least, 0 at the end. */
    using Read = std::function<int(char* data, int maxSize)>;

    Channel() = default;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    virtual ~Channel() = default;

    /** Writes all of it, or returns false. */
    virtual bool write(const char* data, int size) = 0;
    virtual void close() = 0;

    /** The reader of that \a number; to be called, used and given up in the reader's thread. */
    virtual Read reader(int number) = 0;

    /**
     * The same, but it doesn't wait: 0 also when there is nothing yet. Only for channels that keep
     * what was written.
     */
    virtual Read poller() = 0;
};

/** Stands for the spool where a channel is made; it is listed as the library's contender. */
constexpr const char* spool = "spool";

/** The channel of a contender, for \a readers readers of \a total bytes. */
std::unique_ptr<Channel> makeChannel(const std::string& contender, int readers, qint64 total);

std::unique_ptr<Channel> makePipeChannel(int readers);

} // namespace bench
#endif
