#ifndef QUARN_FILEJOBS_FINDJOB_H
#define QUARN_FILEJOBS_FINDJOB_H

#include <Quarn/filejobs/FileJob.h>
#include <Quarn/filejobs/FindOptions.h>
#include <Quarn/quarn_export.h>

#include <QStringList>

#include <functional>
#include <memory>

namespace kel {

/**
 * \brief Finds files by their names, as FileOperations::find() does.
 *
 * \par Threads
 * Those of FileJob; matches() may be called from any thread.
 */
class QUARN_EXPORT FindJob : public FileJob
{
    Q_OBJECT

public:
    /** Collects what is found in matches(). Does nothing before start(). */
    explicit FindJob(const QString& folder, const FindOptions& options = {},
                     QObject* parent = nullptr);

    /**
     * The same, but calls \a found with each path as soon as it is found, in the thread of the pool,
     * instead of collecting them. It must not wait for a thread that waits for the job.
     */
    FindJob(const QString& folder, const FindOptions& options,
            std::function<void(const QString& path)> found, QObject* parent = nullptr);
    ~FindJob() override;

    /** The paths of what was found, in no order; none before the job is finished. */
    QStringList matches() const;

private:
    FindJob(const QString& folder, const FindOptions& options,
            const std::shared_ptr<QStringList>& matches, QObject* parent);

    const std::shared_ptr<QStringList> m_matches; // the thread's until the job is finished
};

} // namespace kel
#endif
