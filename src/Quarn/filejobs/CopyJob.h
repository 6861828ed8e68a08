#ifndef QUARN_FILEJOBS_COPYJOB_H
#define QUARN_FILEJOBS_COPYJOB_H

#include <Quarn/filejobs/FileJob.h>
#include <Quarn/filejobs/TransferOptions.h>
#include <Quarn/quarn_export.h>

#include <QStringList>

namespace kel {

/**
 * \brief Copies files and folders into a folder, as FileOperations::copy() does.
 *
 * \par Threads
 * Those of FileJob.
 */
class QUARN_EXPORT CopyJob : public FileJob
{
    Q_OBJECT

public:
    /** Does nothing before start(). */
    CopyJob(const QStringList& sources, const QString& folder, const TransferOptions& options = {},
            QObject* parent = nullptr);
};

} // namespace kel
#endif
