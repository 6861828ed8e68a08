#include <Quarn/filejobs/FileJobRun_p.h>

#include <Quarn/companion/backgroundTask_p.h>
#include <Quarn/filejobs/WorkLog_p.h>

#include <QDeadlineTimer>
#include <QMetaObject>
#include <QMutexLocker>

#include <exception>

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

bool FileJobRun::prepare()
{
    const QMutexLocker locker(&m_mutex);
    if (m_state != Prepared)
        return false;
    m_state = Queued;
    return true;
}

void FileJobRun::run()
{
    {
        const QMutexLocker locker(&m_mutex);
        if (m_state != Queued)
            return; // cancelled, and the job may be gone
        m_state = Working;
    }
    finish(work());
}

void FileJobRun::cancel()
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

FileResult FileJobRun::work()
{
    if (m_cancelled || programAwaitsTasks())
        return cancelledResult();
    WorkLog log([this](const FileProgress& progress) { return report(progress); }, reportInterval,
                m_cancelled);
    try {
        m_work(log);
    } catch (const std::exception& exception) { // of a callback, or for lack of memory
        log.fail(QString(), FileFailure::Look, 0, QString::fromLocal8Bit(exception.what()));
    } catch (...) {
        log.fail(QString(), FileFailure::Look, 0, QStringLiteral("Unknown exception"));
    }
    m_work = nullptr; // with all that it keeps alive
    m_last = log.progress();
    return log.result();
}

/** Sends no more than the job takes. Cancels when the program ends, which waits for the work. */
bool FileJobRun::report(const FileProgress& progress)
{
    if (programAwaitsTasks())
        return false;
    if (m_reporting.exchange(true))
        return true;
    QMetaObject::invokeMethod(
        m_job,
        [this, progress] { // of the job, so both are there
            m_reporting = false;
            Q_EMIT m_job->progressChanged(progress);
        },
        Qt::QueuedConnection);
    return true;
}

void FileJobRun::finish(const FileResult& result)
{
    // Under the lock, so that slots find the job finished; nothing foreign runs here.
    const QMutexLocker locker(&m_mutex);
    FileJob* const job = m_job;
    m_result = result;
    if (!result.cancelled)
        QMetaObject::invokeMethod(
            job, [job, last = m_last] { Q_EMIT job->progressChanged(last); }, Qt::QueuedConnection);
    QMetaObject::invokeMethod(
        job, [job, result] { Q_EMIT job->finished(result); }, Qt::QueuedConnection);
    m_state = Finished; // from here on the job may go
    m_changed.wakeAll();
}

} // namespace kel
