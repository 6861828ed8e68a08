#ifndef QUARN_BENCHMARKS_MULTIUSER_RELAY_H
#define QUARN_BENCHMARKS_MULTIUSER_RELAY_H

#include "multiuser/Channel.h"

namespace bench {

/** How the producer writes. */
struct Relay
{
    int readers; // each in its own thread
    int block; // of each write and each read
    qint64 total;
    qint64 eventsEach; // bytes that are written between two runs of the producer's event loop

    /**
     * Has a new channel of \a contender carry it all to all readers. Returns the seconds from the
     * first write to the end of the last reader; throws if a reader didn't get each byte.
     */
    double run(const std::string& contender) const;

    /** Writes it all and closes \a channel. False if a write failed. */
    bool produce(Channel& channel) const;

    /** The byte that belongs at \a position. */
    static char byteAt(qint64 position);

private:
    bool consume(const Channel::Read& read, char* buffer) const;
};

/**
 * Makes \a size bytes of free memory such as is at hand at once. A virtual machine may have given
 * its own back to its host, and whoever uses it next would wait for that, by chance.
 */
void fetchMemory(qint64 size);

} // namespace bench
#endif
