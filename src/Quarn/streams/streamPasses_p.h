#ifndef QUARN_STREAMS_STREAMPASSES_P_H
#define QUARN_STREAMS_STREAMPASSES_P_H

#include <Quarn/companion/TransferProgress.h>

#include <limits>

namespace kel {
class IRandomAccessIO;

constexpr int passSize = 4096;
constexpr qint64 farthest = std::numeric_limits<qint64>::max();

/** What a copy is to move, and where. */
struct CopyRange
{
    IRandomAccessIO* source;
    qint64 from;
    IRandomAccessIO* destination;
    qint64 to;
    qint64 length; ///< bounded so that no position lies behind the largest one
    bool lengthKnown; ///< false: up to where a read yields nothing
    bool forwards; ///< in any case: the source's bytes are not those that are written

    /** Negative lengths as in StreamUtils::copy(). */
    static CopyRange of(IRandomAccessIO* source, qint64 from, IRandomAccessIO* destination,
                        qint64 to, qint64 length);

    /** The same without its first \a count bytes, which are copied; the others follow in order. */
    CopyRange behind(qint64 count) const;
};

/**
 * Copies in passes of at most \a bufferSize bytes through \a buffer. \a progress is told after each
 * pass, and may be null; \a before are bytes that are done already, for it to count.
 */
qint64 copyInPasses(const CopyRange& range, unsigned char* buffer, int bufferSize,
                    const TransferProgress* progress, qint64 before = 0);

} // namespace kel
#endif
