#ifndef QUARN_FILEJOBS_REMOVEJOB_H
#define QUARN_FILEJOBS_REMOVEJOB_H

#include <Quarn/filejobs/FileJob.h>
#include <Quarn/quarn_export.h>

#include <QStringList>

namespace kel {

/**
 * \brief Removes files and folders for good, as FileOperations::remove() does.
 *
 * \par Threads
 * Those of FileJob.
 */
class QUARN_EXPORT RemoveJob : public FileJob
{
    Q_OBJECT

public:
    /** Does nothing before start(). */
    explicit RemoveJob(const QStringList& paths, QObject* parent = nullptr);
};

} // namespace kel
#endif
