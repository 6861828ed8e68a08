#ifndef QUARN_INTERFACES_IIOINTERFACE_H
#define QUARN_INTERFACES_IIOINTERFACE_H

#include <Quarn/interfaces/ISupportsNonBlockingIOInterface.h>

#include <QtGlobal>

#include <vector>

namespace kel {

/**
 * \brief A sequential stream of bytes.
 *
 * Nothing here throws on its own account: counts and bools tell what was transferred, and
 * ioFailureDetected() tells whether the device behind the stream failed. A transfer of 0 bytes is
 * legal everywhere and returns 0 at once.
 *
 * The interface does not manage its lifetime; streams are shared as boost::shared_ptr.
 *
 * \par Threads
 * A stream is used by one thread at a time; the implementing class says where it allows more, and
 * which thread its reads may wait in. Sharing the pointer does not make the stream shareable.
 */
class QUARN_EXPORT IIOInterface : public virtual ISupportsNonBlockingIOInterface
{
public:
    /** \name Modes
     *  Bits for applications, to be combined with bitwise or. No call here takes them. */
    ///@{
    static constexpr unsigned int ReadableMode = 1; ///< read() is wanted
    static constexpr unsigned int WritableMode = 2; ///< write() is wanted
    static constexpr unsigned int SynchronousMode = 4; ///< calls may wait until they are done
    ///@}

    IIOInterface() = default;
    IIOInterface(const IIOInterface&) = default;
    IIOInterface& operator=(const IIOInterface&) = default;
    ~IIOInterface() override;

    /** Whether reads return at once when no data is there. */
    virtual bool nonBlocking() = 0;

    /** Whether read() may be used now. */
    virtual bool readable() = 0;

    /** Whether write() may be used now. */
    virtual bool writable() = 0;

    /**
     * Copies up to \a maxSize bytes from the current position to \a data and advances the
     * position by as much.
     *
     * | Result | Meaning                                                      |
     * |--------|--------------------------------------------------------------|
     * | > 0    | bytes copied, possibly fewer than asked                      |
     * | 0      | nothing there: the end, or not yet; or no readable stream    |
     * | < 0    | the device failed                                            |
     */
    virtual int read(void* data, int maxSize) = 0;

    /**
     * Reads \a size bytes into \a data. What success means belongs to the stream: streams built
     * on kelmIOCore repeat short reads until the block is complete.
     */
    virtual bool readBlock(void* data, int size) = 0;

    /** Fills \a data with everything from the current position to the end of the stream. */
    virtual void readAll(std::vector<unsigned char>& data) = 0;

    /**
     * Writes up to \a size bytes of \a data at the current position and advances it.
     *
     * \return the number of bytes taken; 0 from a stream that cannot be written, negative when
     *         the device failed
     */
    virtual int write(const void* data, int size) = 0;

    /** Writes \a size bytes of \a data; see readBlock() for what success means. */
    virtual bool writeBlock(const void* data, int size) = 0;

    /** Pushes what the stream still holds to its device; failures show in ioFailureDetected(). */
    virtual void flush() = 0;

    /** Declares that input or output is complete; writing streams close. */
    virtual void finishIO() = 0;

    /** Whether a failure of the device behind the stream has been recorded. */
    virtual bool ioFailureDetected() const = 0;

    /** Whether everything that the stream will ever deliver has been read. */
    virtual bool eofEncountered() const = 0;

    /** Number of verification failures seen by the stream; 0 unless a stream verifies. */
    virtual unsigned int getVerificationFailures() const;

    /**
     * A hook for streams that report on their output. The streams of this library answer false
     * and leave the arguments untouched.
     */
    virtual bool getOutputInfo(quint64& first, quint64& second, void** third) const = 0;

    /** A hook for streams that keep throughput figures; ignored by those of this library. */
    virtual void setThroughputStats(quint64 first, quint64 second, quint64 third, quint64 fourth)
        = 0;

    /** Counterpart of setThroughputStats(): false, with the arguments untouched. */
    virtual bool getThroughputStats(quint64& first, quint64& second, quint64& third,
                                    quint64& fourth) const = 0;
};

} // namespace kel
#endif
