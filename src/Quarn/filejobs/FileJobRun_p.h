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

    FileJobRun(FileJob* job, Work work) : m_job(job), m_work(std::move(work)) { }
    FileJobRun(const FileJobRun&) = delete;
    FileJobRun& operator=(const FileJobRun&) = delete;

    /** Answers whether this was the first time. */
    bool prepare();
    /** Does the work, in the thread that calls. */
    void run();
    void cancel();

    bool isFinished() const;
    bool wait(int msecs);
    FileResult result() const;

private:
    enum State { Prepared, Queued, Working, Finished };

    FileResult work();
    bool report(const FileProgress& progress);
    void finish(const FileResult& result);

    FileJob* const m_job;
    Work m_work; // of the thread that works
    FileProgress m_last; // of the thread that works
    std::atomic<bool> m_cancelled{false};
    std::atomic<bool> m_reporting{false}; // a progress is on its way to the job
    mutable QMutex m_mutex;
    QWaitCondition m_changed;
    State m_state = Prepared; // guarded by m_mutex
    FileResult m_result; // guarded by m_mutex
};

} // namespace kel
#endif
