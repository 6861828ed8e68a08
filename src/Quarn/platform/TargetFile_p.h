#ifndef QUARN_PLATFORM_TARGETFILE_P_H
#define QUARN_PLATFORM_TARGETFILE_P_H

#include <QFile>

namespace kel {

/**
 * Opens \a target for writing in \a mode, created when it is missing and emptied otherwise.
 *
 * It is not opened, and nothing is lost, when it is the file that \a source is open on or, while it
 * is closed, names; nor when that cannot be found out, or the target cannot be emptied. What is no
 * regular file has nothing to lose and may be both. \a source may be null.
 *
 * \return whether it is open, and empty
 */
bool openTarget(QFile& target, QIODevice::OpenMode mode, const QFileDevice* source);

} // namespace kel
#endif
