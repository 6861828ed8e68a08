#ifndef QUARN_FILEJOBS_MOVEJOB_H
#define QUARN_FILEJOBS_MOVEJOB_H

#include <Quarn/filejobs/FileJob.h>
#include <Quarn/filejobs/TransferOptions.h>
#include <Quarn/quarn_export.h>

#include <QStringList>

namespace kel {

/**
 * \brief Moves files and folders into a folder, as FileOperations::move() does.
 *
 * \par Threads
 * Those of FileJob.
 */
class QUARN_EXPORT MoveJob : public FileJob
{
    Q_OBJECT

public:
    /** Does nothing before start(). */
    MoveJob(const QStringList& sources, const QString& folder, const TransferOptions& options = {},
            QObject* parent = nullptr);
};

} // namespace kel
#endif
