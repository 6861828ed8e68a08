#ifndef QUARN_STREAMS_STREAMUTILS_H
#define QUARN_STREAMS_STREAMUTILS_H

#include <Quarn/companion/TransferProgress.h>
#include <Quarn/quarn_export.h>

#include <QtGlobal>

namespace kel {
class IRandomAccessIO;

/**
 * \brief Copies between streams, and moves within one.
 *
 * copy() runs in passes of at most 4096 bytes, each of which sets the position of both streams, and
 * allocates nothing; copyFast() takes whichever way is fastest. Streams are borrowed: not opened or
 * closed, and their positions are not restored; only copyFast() flushes. A copy blocks as long as the
 * streams' own reads and writes do.
 *
 * \par When a copy ends early
 * A read or write of 0 or fewer bytes ends it, and so does a device that answers more than it was
 * asked for. The result is the number of bytes written before that; forwards these are the first
 * ones of the range, backwards the last ones. A stream whose setPosition() fails is to refuse the
 * transfer that follows, as kelmQFile does: copies go by the transfers. What a buffered file took may
 * still fail at its flush().
 *
 * \par Threads
 * Any; a copy uses its streams from the thread it is called in.
 */
class QUARN_EXPORT StreamUtils
{
public:
    /**
     * Copies \a length bytes of \a source from \a sourcePosition on to \a destination at
     * \a destinationPosition. A negative \a length means up to the end of the source; when
     * \a sourcePosition lies beyond it, until a read yields nothing.
     *
     * With \a sourcePosition below \a destinationPosition and a known length the range is copied
     * from its end, otherwise from its start, between two streams too. So both may be one stream:
     * overlapping ranges end up as if moved by memmove().
     *
     * \return the number of bytes written
     */
    static qint64 copy(IRandomAccessIO* source, qint64 sourcePosition, IRandomAccessIO* destination,
                       qint64 destinationPosition, qint64 length);

    /**
     * The same with \a progress, which is told the bytes written after each pass, and how many there
     * are to be. When it answers false the copy ends: what is written stays, and is the result.
     */
    static qint64 copy(IRandomAccessIO* source, qint64 sourcePosition, IRandomAccessIO* destination,
                       qint64 destinationPosition, qint64 length, const TransferProgress& progress);

    /** Copies from the source's position to the destination's position. */
    static qint64 copy(IRandomAccessIO* source, IRandomAccessIO* destination, qint64 length);

    /** Moves \a length bytes within \a stream. */
    static qint64 copy(IRandomAccessIO* stream, qint64 from, qint64 to, qint64 length);

    /**
     * Copies as copy() does, with the same bytes as result, but as fast as it can: passes are large,
     * and between some streams there are none. Objects of just these classes, not of derived ones:
     *
     * | Source, destination        | What happens                                                  |
     * |----------------------------|---------------------------------------------------------------|
     * | two FileStream             | both are flushed, and the system copies; nothing is moved at all where the file system can share the bytes |
     * | QRandomAccessIO, any other | its bytes are written straight from memory                    |
     * | MappedFileStream, any other | so are those of the file                                     |
     * | any others                 | passes of up to 256 KiB; of 4096 bytes when memory is short   |
     *
     * In the first three the range is copied from its start. \a progress is told as in copy(): with one,
     * no more than 4 MiB are moved between two calls.
     *
     * \return the number of bytes written
     */
    static qint64 copyFast(IRandomAccessIO* source, qint64 sourcePosition,
                           IRandomAccessIO* destination, qint64 destinationPosition, qint64 length,
                           const TransferProgress& progress = TransferProgress());
};

} // namespace kel
#endif
