#ifndef QUARN_FILEJOBS_FILEJOBRUN_P_H
#define QUARN_FILEJOBS_FILEJOBRUN_P_H

#include <Quarn/filejobs/FileJob.h>

#include <QMutex>
#include <QWaitCondition>

#include <atomic>

namespace kel {

/**
 * \brief What a job and the thread that works for it share.
 *
 * The job waits in its destructor for the end, so the thread may use it until it has said so.
 *
 * \par Threads
 * Any.
 */
class FileJobRun
{
public:
    using Work = std::function<void(WorkLog& log)>;

    FileJobRun(FileJob* job, Work work);
    FileJobRun(const FileJobRun&) = delete;
    FileJobRun& operator=(const FileJobRun&) = delete;

    /** Answers whether this was the first time. */
    bool prepare();
    /** As if it had not been prepared. */
    void takeBack();
    /** Does the work, in the thread that calls. */
    void run() noexcept;
    void cancel() noexcept;

    bool isFinished() const;
    bool wait(int msecs);
    FileResult result() const;

private:
    enum State { Prepared, Queued, Working, Finished };

    FileResult work() noexcept;
    void work(WorkLog& log);
    bool report(const FileProgress& progress) noexcept;
    void finish(const FileResult& result) noexcept;

    FileJob* const m_job;
    Work m_work; // of the thread that works
    FileProgress m_last; // of the thread that works
    QList<FileFailure> m_outOfMemory; // to tell it when there is none; never changed
    std::atomic<bool> m_cancelled{false};
    std::atomic<bool> m_reporting{false}; // a progress is on its way to the job
    mutable QMutex m_mutex;
    QWaitCondition m_changed;
    State m_state = Prepared; // guarded by m_mutex
    FileResult m_result; // guarded by m_mutex
};

} // namespace kel
#endif
