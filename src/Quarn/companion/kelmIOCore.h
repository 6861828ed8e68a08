#ifndef QUARN_COMPANION_KELMIOCORE_H
#define QUARN_COMPANION_KELMIOCORE_H

#include <Quarn/companion/kelmNonCopyable.h>
#include <Quarn/interfaces/IIOInterface.h>

#include <boost/shared_ptr.hpp>

class kelmBuffer;

/**
 * \brief Block transfers for any stream that supplies read() and write().
 *
 * A block operation repeats short reads or writes until the block is complete and answers true
 * exactly when it is. It stops at the first transfer of 0 or fewer bytes, or at one of more bytes
 * than were asked for, which counts as a failed device. What came before stays where it was put
 * and the position stays behind it; ioFailureDetected() tells a failure from an end.
 *
 * On a stream in non-blocking mode "nothing there yet" ends a block operation like the end does.
 *
 * \par Threads
 * Those of the stream's read() and write(); block operations wait as long as these do.
 */
class QUARN_EXPORT kelmIOCore : public kelmNonCopyable, public virtual kel::IIOInterface
{
public:
    /** Touches no device: read() and write() are called by the block operations alone. */
    kelmIOCore() = default;
    ~kelmIOCore() override;

    using kel::IIOInterface::read;

    /**
     * Reads up to \a size bytes to the start of \a buffer, which first grows to \a size if it is
     * smaller and is never shrunk. Results as in read(void*, int).
     */
    virtual int read(kelmBuffer& buffer, int size);

    /** Reads exactly \a size bytes to the start of \a buffer, which grows as in read(). */
    virtual bool readBlock(kelmBuffer& buffer, int size);

    /**
     * Reads everything up to the end of the stream, a little less than 2^31 bytes at most, to the start of
     * \a buffer, which grows to the bytes read and is never shrunk. A positive \a size is the
     * number of bytes to ask for first; anything else means no preference.
     *
     * \return the number of bytes read, also when the stream failed behind them
     */
    virtual int readAll(kelmBuffer& buffer, int size);

    /** The same into a new buffer that holds just the bytes read; never null. */
    virtual boost::shared_ptr<kelmBuffer> readAll(int size);

    /** Reads exactly \a size bytes into \a data; a negative \a size is refused. */
    bool readBlock(void* data, int size) override;

    /** Replaces \a data by everything up to the end of the stream. */
    void readAll(std::vector<unsigned char>& data) override;

    /** Writes exactly \a size bytes of \a data; a negative \a size is refused. */
    bool writeBlock(const void* data, int size) override;
};

#endif
