#ifndef QUARN_PLATFORM_KERNELCOPY_P_H
#define QUARN_PLATFORM_KERNELCOPY_P_H

#include <QtGlobal>

namespace kel {

/**
 * Lets the system copy up to \a length bytes between two open files, without moving their positions.
 * The bytes may be shared rather than copied where the file system can do that.
 *
 * \return the bytes copied: fewer than \a length at the end of the source, after a failure, and where
 *         the system can't copy between these files, as within one file; ordinary reads and writes
 *         go on from there, and find out what it was
 */
qint64 kernelCopy(int source, qint64 sourcePosition, int destination, qint64 destinationPosition,
                  qint64 length);

} // namespace kel
#endif
