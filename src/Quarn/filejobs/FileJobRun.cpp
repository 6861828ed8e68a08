#include <Quarn/filejobs/FileJobRun_p.h>

#include <Quarn/companion/backgroundTask_p.h>
#include <Quarn/filejobs/WorkLog_p.h>

#include <QDeadlineTimer>
#include <QMetaObject>
#include <QMutexLocker>

#include <exception>
#include <new>
#include <optional>

namespace kel {
namespace {

constexpr std::chrono::milliseconds reportInterval{100};

FileResult cancelledResult()
{
    FileResult result;
    result.cancelled = true;
    return result;
}

} // namespace

FileJobRun::FileJobRun(FileJob* job, Work work) : m_job(job), m_work(std::move(work))
{
    m_outOfMemory.append({QString(), FileFailure::Look, 0, QStringLiteral("Out of memory")});
}

bool FileJobRun::prepare()
{
    const QMutexLocker locker(&m_mutex);
    if (m_state != Prepared)
        return false;
    m_state = Queued;
    return true;
}

void FileJobRun::takeBack()
{
    const QMutexLocker locker(&m_mutex);
    if (m_state == Queued)
        m_state = Prepared;
}

void FileJobRun::run() noexcept
{
    {
        const QMutexLocker locker(&m_mutex);
        if (m_state != Queued)
            return; // cancelled, and the job may be gone
        m_state = Working;
    }
    finish(work());
}

void FileJobRun::cancel() noexcept
{
    m_cancelled = true;
    {
        const QMutexLocker locker(&m_mutex);
        if (m_state != Queued)
            return;
        m_state = Working; // so that the pool's thread leaves it alone
    }
    finish(cancelledResult());
}

bool FileJobRun::isFinished() const
{
    const QMutexLocker locker(&m_mutex);
    return m_state == Finished;
}

bool FileJobRun::wait(int msecs)
{
    const QDeadlineTimer deadline(msecs < 0 ? QDeadlineTimer(QDeadlineTimer::Forever)
                                            : QDeadlineTimer(msecs));
    const QMutexLocker locker(&m_mutex);
    while (m_state == Queued || m_state == Working) {
        if (!m_changed.wait(&m_mutex, deadline))
            break;
    }
    return m_state == Finished;
}

FileResult FileJobRun::result() const
{
    const QMutexLocker locker(&m_mutex);
    return m_result;
}

FileResult FileJobRun::work() noexcept
{
    if (m_cancelled || programAwaitsTasks())
        return cancelledResult();
    std::optional<WorkLog> log;
    bool isTold = false;
    try {
        log.emplace([this](const FileProgress& progress) { return report(progress); },
                    reportInterval, m_cancelled);
        work(*log);
        isTold = true;
    } catch (const std::bad_alloc&) {
        isTold = false; // what failed instead, for which there is no memory either
    }
    m_work = nullptr; // with all that it keeps alive
    FileResult result = log ? log->result() : FileResult();
    if (log)
        m_last = log->progress();
    if (!isTold)
        result.failures = m_outOfMemory;
    return result;
}

/** Exceptions, of callbacks or for lack of memory, are failures. Throws std::bad_alloc. */
void FileJobRun::work(WorkLog& log)
{
    try {
        m_work(log);
    } catch (const std::exception& exception) {
        log.fail(QString(), FileFailure::Look, 0, QString::fromLocal8Bit(exception.what()));
    } catch (...) {
        log.fail(QString(), FileFailure::Look, 0, QStringLiteral("Unknown exception"));
    }
}

/** Sends no more than the job takes. Cancels when the program ends, which waits for the work. */
bool FileJobRun::report(const FileProgress& progress) noexcept
{
    if (programAwaitsTasks())
        return false;
    if (m_reporting.exchange(true))
        return true;
    try {
        QMetaObject::invokeMethod(
            m_job,
            [this, progress] { // of the job, so both are there
                m_reporting = false;
                Q_EMIT m_job->progressChanged(progress);
            },
            Qt::QueuedConnection);
    } catch (const std::bad_alloc&) {
        m_reporting = false; // the next one makes up for it
    }
    return true;
}

void FileJobRun::finish(const FileResult& result) noexcept
{
    // Under the lock, so that slots find the job finished; nothing foreign runs here.
    const QMutexLocker locker(&m_mutex);
    FileJob* const job = m_job;
    m_result = result;
    const auto tell = [job](auto emission) {
        try {
            QMetaObject::invokeMethod(job, std::move(emission), Qt::QueuedConnection);
        } catch (const std::bad_alloc&) {
            return; // who waits or asks knows it all the same
        }
    };
    if (!result.cancelled)
        tell([job, last = m_last] { Q_EMIT job->progressChanged(last); });
    tell([job, result] { Q_EMIT job->finished(result); });
    m_state = Finished; // from here on the job may go
    m_changed.wakeAll();
}

} // namespace kel
