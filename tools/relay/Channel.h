#ifndef RELAY_CHANNEL_H
#define RELAY_CHANNEL_H

#include <QString>

#include <boost/shared_ptr.hpp>

#include <memory>

namespace kel {
class IRandomAccessIO;
}

/**
 * \brief What the producer writes and the consumers read at the same time, each from the first byte.
 *
 * One thread, the producer's, writes and finishes; everything else is for any thread.
 */
class Channel
{
public:
    virtual ~Channel();

    /**
     * A channel for an input of any length that keeps up to \a memoryLimit bytes in memory and the
     * others in a temporary file without a name; or one for less than 2 GiB, all in memory, if
     * \a memoryLimit is 0. Lives in the calling thread, whose event loop the latter needs.
     */
    static std::unique_ptr<Channel> create(qint64 memoryLimit);

    /** A reader for the calling thread that waits for bytes, as long as the channel lives. */
    virtual boost::shared_ptr<kel::IRandomAccessIO> makeReader() const = 0;

    /** Bytes written so far. */
    virtual qint64 size() const = 0;

    /** Bytes that are on the disk instead of in memory. */
    virtual qint64 spilled() const = 0;

    /** Whether no reader gets the whole input any more. */
    virtual bool failed() const = 0;

    // The producer's:

    /** Why an input of \a size bytes, -1 if that isn't known, is none for it; else empty. */
    virtual QString refusal(qint64 size) const = 0;

    virtual bool write(const char* data, int size) = 0;
    /** Why write() has failed. */
    virtual QString writeFailure() const = 0;

    /** Ends the input; with a \a failure readers don't take what they got for the whole. */
    virtual void finish(const QString& failure) = 0;
};

#endif
