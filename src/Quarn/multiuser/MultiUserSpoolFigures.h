#ifndef QUARN_MULTIUSER_MULTIUSERSPOOLFIGURES_H
#define QUARN_MULTIUSER_MULTIUSERSPOOLFIGURES_H

#include <QtGlobal>

#include <vector>

namespace kel {

/**
 * \brief What a MultiUserSpool holds at one moment; all in bytes.
 *
 * \par Threads
 * A plain value.
 */
struct MultiUserSpoolFigures
{
    qint64 written = 0; ///< accepted from the producer since the beginning
    qint64 firstPosition = 0; ///< of the first byte that is still kept
    qint64 inMemory = 0; ///< memory in use: whole chunks, those kept ready and looked at included
    qint64 spilled = 0; ///< what is on the disk now and not in memory
    qint64 highWater = 0; ///< the most that inMemory has been
    std::vector<qint64> lags; ///< of each reader, in the order they were made: written but not read
};

} // namespace kel
#endif
