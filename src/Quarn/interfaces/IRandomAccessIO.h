#ifndef QUARN_INTERFACES_IRANDOMACCESSIO_H
#define QUARN_INTERFACES_IRANDOMACCESSIO_H

#include <Quarn/interfaces/IIOInterface.h>

namespace kel {

/**
 * A stream with a position that can be moved, and a size. All figures are bytes.
 *
 * \par Threads
 * As for IIOInterface: one thread at a time. The size may grow by what another thread writes where
 * the implementing class shares its data, as the shared buffer does with its readers.
 */
class QUARN_EXPORT IRandomAccessIO : public virtual IIOInterface
{
public:
    IRandomAccessIO() = default;
    IRandomAccessIO(const IRandomAccessIO&) = default;
    IRandomAccessIO& operator=(const IRandomAccessIO&) = default;
    ~IRandomAccessIO() override;

    /** Offset of the next read or write from the start of the stream. */
    virtual qint64 position() const = 0;

    /** Moves to \a position; false when the device refused. */
    virtual bool setPosition(qint64 position) = 0;

    /** Number of bytes in the stream now. */
    virtual qint64 streamSize() const = 0;
};

} // namespace kel
#endif
