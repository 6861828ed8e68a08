#ifndef QUARN_ACCESS_FILETRANSFER_P_H
#define QUARN_ACCESS_FILETRANSFER_P_H

#include <QByteArray>

class QIODevice;

namespace kel {

/**
 * Replaces \a target with up to \a maxSize bytes. Unlike QIODevice::read(), memory is taken as bytes
 * come and not for \a maxSize at once; when it runs out, the rest stays unread. The memory that
 * \a target has already is used again where it fits: fresh memory costs more than the read. Reads
 * to the end or to the first error, which \a device then reports; a sequential device only as far
 * as bytes are there.
 *
 * \return false when memory ran out
 */
[[nodiscard]] bool readUpTo(QIODevice& device, qint64 maxSize, QByteArray& target);

/**
 * Writes \a data to the end or to the first error, which \a device then reports.
 *
 * \return the number of bytes written; -1 when an error prevented all of them
 */
qint64 writeAll(QIODevice& device, const QByteArray& data);

} // namespace kel
#endif
