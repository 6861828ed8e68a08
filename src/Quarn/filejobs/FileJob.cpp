#include <Quarn/filejobs/FileJob.h>

#include <Quarn/companion/backgroundTask_p.h>
#include <Quarn/filejobs/FileJobRun_p.h>

#include <QThreadPool>

#include <new>
#include <utility>

namespace kel {

FileJob::FileJob(Work work, QObject* parent)
    : QObject(parent), m_run(std::make_shared<FileJobRun>(this, std::move(work)))
{
    qRegisterMetaType<kel::FileProgress>();
    qRegisterMetaType<kel::FileResult>();
}

FileJob::~FileJob()
{
    m_run->cancel();
    m_run->wait(-1);
}

void FileJob::setThreadPool(QThreadPool* pool)
{
    m_pool = pool;
}

void FileJob::start()
{
    if (!m_run->prepare())
        return;
    try {
        startInBackground(m_pool ? m_pool : QThreadPool::globalInstance(),
                          [run = m_run](QThreadPool*) { run->run(); });
    } catch (const std::bad_alloc&) {
        m_run->takeBack();
        throw;
    }
}

void FileJob::cancel()
{
    m_run->cancel();
}

bool FileJob::isFinished() const
{
    return m_run->isFinished();
}

bool FileJob::waitForFinished(int msecs)
{
    return m_run->wait(msecs);
}

FileResult FileJob::result() const
{
    return m_run->result();
}

} // namespace kel
