#ifndef QUARN_MULTIUSER_WRITEPROGRESS_P_H
#define QUARN_MULTIUSER_WRITEPROGRESS_P_H

#include <QtGlobal>

#include <atomic>

namespace kel {

/**
 * \brief How many bytes were written to a buffer in all, overwritten ones included.
 *
 * Whoever remembers what he was told of knows by it whether there is news, and never takes the same
 * write for two.
 */
struct WriteProgress
{
    std::atomic<qint64> written{0}; // rises when the bytes are in and can be read
    std::atomic<qint64> emitted{0}; // of these, what bytesWritten() was or is being emitted for
};

} // namespace kel
#endif
