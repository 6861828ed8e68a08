#ifndef QUARN_FILEJOBS_SIZEJOB_H
#define QUARN_FILEJOBS_SIZEJOB_H

#include <Quarn/filejobs/FileJob.h>
#include <Quarn/quarn_export.h>

#include <QStringList>

namespace kel {

/**
 * \brief Counts entries and adds up sizes, as FileOperations::measure() does.
 *
 * \par Threads
 * Those of FileJob.
 */
class QUARN_EXPORT SizeJob : public FileJob
{
    Q_OBJECT

public:
    /** Does nothing before start(). */
    explicit SizeJob(const QStringList& paths, QObject* parent = nullptr);
};

} // namespace kel
#endif
