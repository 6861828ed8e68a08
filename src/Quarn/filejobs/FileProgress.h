#ifndef QUARN_FILEJOBS_FILEPROGRESS_H
#define QUARN_FILEJOBS_FILEPROGRESS_H

#include <QMetaType>
#include <QString>

#include <functional>

namespace kel {

/**
 * \brief How far work on files and folders has come.
 *
 * The totals are what was counted before the work began, -1 as long as nobody knows; entries that
 * come or go meanwhile make the work more or less than that.
 *
 * \par Threads
 * A value, as safe as a QString.
 */
struct FileProgress
{
    qint64 entriesDone = 0; ///< files, folders, links and so on that are done with, well or not
    qint64 entriesTotal = -1; ///< of them, as counted before
    qint64 bytesDone = 0; ///< of the contents of files
    qint64 bytesTotal = -1; ///< of them, as counted before
    QString path; ///< what is being worked on
};

/**
 * Is told of each entry and, in large files, of every few MiB. Answering false cancels; what it
 * throws goes through to the caller, and nothing half-made is left then.
 *
 * \par Threads
 * Called in the thread that made the call which reports.
 */
using Progress = std::function<bool(const FileProgress&)>;

} // namespace kel

Q_DECLARE_METATYPE(kel::FileProgress)

#endif
