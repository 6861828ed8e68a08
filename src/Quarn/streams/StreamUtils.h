#ifndef QUARN_STREAMS_STREAMUTILS_H
#define QUARN_STREAMS_STREAMUTILS_H

#include <Quarn/quarn_export.h>

#include <QtGlobal>

namespace kel {
class IRandomAccessIO;

/**
 * \brief Copies between streams, and moves within one.
 *
 * All copies run in passes of at most 4096 bytes, each of which sets the position of both streams,
 * and allocate nothing. Streams are borrowed: not
 * opened, flushed or closed, and their positions are not restored. A copy blocks as long as the
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

    /** Copies from the source's position to the destination's position. */
    static qint64 copy(IRandomAccessIO* source, IRandomAccessIO* destination, qint64 length);

    /** Moves \a length bytes within \a stream. */
    static qint64 copy(IRandomAccessIO* stream, qint64 from, qint64 to, qint64 length);
};

} // namespace kel
#endif
