#ifndef QUARN_FILEUTILS_TRASHEDFILE_H
#define QUARN_FILEUTILS_TRASHEDFILE_H

#include <QDateTime>
#include <QString>

namespace kel {

/**
 * \brief What FileUtils::trashedFiles() tells of a file, folder or link in the trash.
 *
 * What another program put there without a note of where it was, or with one that leads out of a
 * file system that can be unplugged, has no original path.
 *
 * \par Threads
 * A value: those of its members.
 */
struct TrashedFile
{
    QString path; ///< where it is in the trash
    QString originalPath; ///< where it was; empty when that is not known
    QDateTime deletionDate; ///< in local time; invalid when it is not known
};

} // namespace kel
#endif
