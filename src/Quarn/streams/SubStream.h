#ifndef QUARN_STREAMS_SUBSTREAM_H
#define QUARN_STREAMS_SUBSTREAM_H

#include <Quarn/streams/RandomAccessStream.h>

#include <boost/shared_ptr.hpp>

namespace kel {

/**
 * \brief A range of another stream as a stream of its own: a part of a file, an archive's entry.
 *
 * Positions count from the start of the range. No read or write leaves it: at the end of the range
 * both answer 0, and a write that reaches beyond takes what fits. What the range holds is what the
 * stream has there now: streamSize() is smaller than the range's length while the stream ends inside
 * it, and a write there makes the stream grow, up to the end of the range.
 *
 * | Result of read(), write() | Meaning                                                         |
 * |---------------------------|-----------------------------------------------------------------|
 * | > 0                       | bytes transferred, possibly fewer than asked                    |
 * | 0                         | the end of the range, or of the stream; or it cannot be read or written |
 * | < 0                       | the stream failed or could not be moved to the place; it answered more than it was asked for; or the last setPosition() failed |
 *
 * The stream is moved to the place before each transfer and stays behind it: its own position isn't
 * restored, and any number of ranges of one stream may be used by turns. Whether reads wait,
 * readable(), writable() and flush() are the stream's; finishIO() flushes it and closes nothing, since
 * other parts of it may be in use.
 *
 * Without a stream or with a negative offset nothing can be read or written, and
 * ioFailureDetected() is true.
 *
 * \par Threads
 * Those of the stream. All ranges of one stream belong to one thread at a time.
 *
 * \par Ownership
 * Made from a boost::shared_ptr it keeps the stream alive; a plain pointer is borrowed, and the
 * stream must outlive this one.
 */
class QUARN_EXPORT SubStream : public RandomAccessStream
{
public:
    /** From \a offset on \a length bytes; a negative length means up to the end, wherever it is. */
    SubStream(IRandomAccessIO* stream, qint64 offset, qint64 length = -1);
    /** The same, and keeps the stream alive. */
    SubStream(const boost::shared_ptr<IRandomAccessIO>& stream, qint64 offset, qint64 length = -1);
    ~SubStream() override;

    using RandomAccessStream::read;

    int read(void* data, int maxSize) override;
    int write(const void* data, int size) override;

    /** Sets the switch of the stream itself. */
    void enableNonBlockingMode(bool enable) override;
    bool nonBlocking() override;
    bool readable() override;
    bool writable() override;
    void flush() override;
    void finishIO() override;
    bool ioFailureDetected() const override;
    bool eofEncountered() const override;
    unsigned int getVerificationFailures() const override;

    qint64 position() const override;
    /**
     * False outside the range; its end is inside. Then the position stays, and reads and writes fail
     * until a call succeeds. The stream itself is moved by the next transfer.
     */
    bool setPosition(qint64 position) override;
    /** -1 when the stream doesn't know its size, as one of a connection. */
    qint64 streamSize() const override;

private:
    template <typename Transfer>
    int transferred(qint64 size, Transfer transfer);

    const boost::shared_ptr<IRandomAccessIO> m_owned;
    IRandomAccessIO* const m_stream; // null: there is nothing to read or write
    const qint64 m_offset;
    const qint64 m_length; // the largest position
    qint64 m_position;
    bool m_misplaced; // since setPosition() failed
    bool m_failed; // the last transfer
};

} // namespace kel
#endif
