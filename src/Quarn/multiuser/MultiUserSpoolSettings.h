#ifndef QUARN_MULTIUSER_MULTIUSERSPOOLSETTINGS_H
#define QUARN_MULTIUSER_MULTIUSERSPOOLSETTINGS_H

#include <QString>

namespace kel {

/**
 * \brief How a MultiUserSpool keeps what is written to it; given at its construction.
 *
 * | Member      | Default          | Meaning                                                     |
 * |-------------|------------------|-------------------------------------------------------------|
 * | memoryLimit | 64 MiB           | bytes that the stream may take in memory                    |
 * | keep        | KeepEverything   | which bytes stay readable                                   |
 * | atLimit     | SpillToDisk      | what a write does when it needs memory beyond the limit     |
 * | spillFolder | empty            | folder of the file that is spilled to; empty: QDir::tempPath() |
 *
 * Memory is taken in chunks of equal size, a power of two: about a thirty-second part of the limit,
 * 4 KiB at least and 2 MiB at most. The limit counts whole chunks, and at least four of them. Beyond
 * it comes what is freed while somebody still looks at it: a chunk for each MultiUserSpoolView, and
 * for each reader that is just copying.
 *
 * \par Threads
 * A plain value.
 */
struct MultiUserSpoolSettings
{
    /** Which bytes stay readable. */
    enum Keep {
        /** All that was ever written: each reader can go back to the first byte. */
        KeepEverything,
        /**
         * What some reader hasn't passed yet, and the rest of its chunk. Without any reader all that
         * there is stays for the next one. A place that is freed in the spilled file is given back to
         * the disk where the file system can do that.
         */
        KeepUnread
    };

    /** What a write does when it needs memory beyond the limit. */
    enum AtLimit {
        /** The oldest chunk goes to a file; the write takes as long as that does. */
        SpillToDisk,
        /**
         * The write waits until a reader has made room. It is refused when nothing could make room:
         * under KeepEverything, and when the last reader has gone. It waits for the first reader.
         */
        HoldBack,
        /** A write that doesn't fit as a whole is refused: -1, and none of its bytes is taken. */
        RefuseWrite
    };

    qint64 memoryLimit = qint64(64) << 20; ///< in bytes
    Keep keep = KeepEverything; ///< which bytes stay readable
    AtLimit atLimit = SpillToDisk; ///< what a write does there
    QString spillFolder; ///< empty: QDir::tempPath()
};

} // namespace kel
#endif
