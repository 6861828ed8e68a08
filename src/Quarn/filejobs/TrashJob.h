#ifndef QUARN_FILEJOBS_TRASHJOB_H
#define QUARN_FILEJOBS_TRASHJOB_H

#include <Quarn/filejobs/FileJob.h>
#include <Quarn/quarn_export.h>

#include <QStringList>

namespace kel {

/**
 * \brief Moves files and folders to the trash, as FileOperations::trash() does.
 *
 * \par Threads
 * Those of FileJob.
 */
class QUARN_EXPORT TrashJob : public FileJob
{
    Q_OBJECT

public:
    /** Does nothing before start(). */
    explicit TrashJob(const QStringList& paths, QObject* parent = nullptr);
};

} // namespace kel
#endif
