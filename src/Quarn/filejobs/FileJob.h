#ifndef QUARN_FILEJOBS_FILEJOB_H
#define QUARN_FILEJOBS_FILEJOB_H

#include <Quarn/filejobs/FileProgress.h>
#include <Quarn/filejobs/FileResult.h>
#include <Quarn/quarn_export.h>

#include <QObject>

#include <functional>
#include <memory>

class QThreadPool;

namespace kel {

class FileJobRun;
class WorkLog;

/**
 * \brief Work on files and folders on a thread of a pool: CopyJob, RemoveJob and so on.
 *
 * \snippet copy-tree/main.cpp copy
 *
 * A job is started once. It tells of its progress and its end by signals, which come from the event
 * loop of the thread in which the job lives, and never from within a call.
 *
 * \par Ending
 * The destructor cancels and waits for the end, which is a matter of milliseconds unless a disk or a
 * server doesn't answer; no signal comes any more. A job doesn't delete itself: connect finished()
 * with deleteLater().
 * The end of the application cancels the jobs that are left, and waits for them.
 *
 * \par Threads
 * Use a job in the thread where it lives. cancel(), isFinished(), waitForFinished() and result() may
 * come from any thread.
 */
class QUARN_EXPORT FileJob : public QObject
{
    Q_OBJECT

public:
    ~FileJob() override;

    /** The pool to use instead of QThreadPool::globalInstance(); borrowed. Call it before start(). */
    void setThreadPool(QThreadPool* pool);

    /**
     * Begins when a thread of the pool is free. A second call does nothing. Where there is no thread to
     * be had, all is done before this returns.
     *
     * \throw std::bad_alloc and nothing has begun
     */
    void start();

    /**
     * Ends the work as soon as it can be, at once when it has not begun. What has been done stays;
     * finished() comes all the same, unless the job was never started.
     */
    void cancel();

    /** Whether the work has ended, well or not. */
    bool isFinished() const;

    /**
     * Blocks until the work has ended; negative \a msecs: no limit. The signal comes later, from the
     * event loop. Don't wait in the thread that a callback of the job needs.
     *
     * \return whether it has ended; false for a job that was not started
     */
    [[nodiscard]] bool waitForFinished(int msecs = -1);

    /** What the work has come to; nothing before it is finished. */
    FileResult result() const;

Q_SIGNALS:
    /**
     * At most ten times a second, and once more right before finished() when the work was not
     * cancelled.
     */
    void progressChanged(const kel::FileProgress& progress);
    /**
     * Once, when all is done, cancelled or failed. Only when there is no memory to send it, it doesn't
     * come; isFinished() and waitForFinished() tell then, too.
     */
    void finished(const kel::FileResult& result);

protected:
    /** What a job does; notes in the log how far it is and what fails. */
    using Work = std::function<void(WorkLog& log)>;

    /** \a work runs in another thread, and may outlive all of the job but this base. */
    FileJob(Work work, QObject* parent);

private:
    const std::shared_ptr<FileJobRun> m_run;
    QThreadPool* m_pool = nullptr;
};

} // namespace kel
#endif
