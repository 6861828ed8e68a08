#include <Quarn/access/AsyncFileQueue_p.h>

#include <Quarn/companion/backgroundTask_p.h>
#include <Quarn/companion/narrow_p.h>

#include <QDeadlineTimer>
#include <QMutexLocker>

#include <new>
#include <utility>

namespace kel {
namespace {

/** After so long a file makes room for others that want the same thread. */
constexpr int sliceMsecs = 100;

/** Calls that this thread is in the middle of, and that are to return at once. */
thread_local int callsOfThisThread = 0;

} // namespace

/** Lends the thread back to its pool for as long as it waits. */
class AsyncFile::Queue::Wait final : public SystemFile::Wait
{
public:
    Wait(const Queue& queue, QThreadPool* pool, const AsyncFileRequest& request)
        : m_queue(queue), m_pool(pool), m_request(request),
          m_isInCall(!pool && callsOfThisThread > 0)
    { }
    ~Wait() override
    {
        if (m_isLent)
            m_pool->reserveThread();
    }

    bool goesOn() override
    {
        if (m_pool && !std::exchange(m_isLent, true))
            m_pool->releaseThread();
        return !m_isInCall && m_queue.goesOnWaiting(m_request);
    }

private:
    const Queue& m_queue;
    QThreadPool* const m_pool;
    const AsyncFileRequest& m_request;
    const bool m_isInCall; // which is to return
    bool m_isLent = false;
};

AsyncFile::Queue::Queue(const QString& fileName, QThreadPool* pool)
    : m_isPoolGlobal(!pool), m_pool(pool), m_worker(fileName)
{
    // Now, so that it goes after a static AsyncFile, which asks for it in its own end.
    if (m_isPoolGlobal)
        QThreadPool::globalInstance();
    expectBackgroundTasks();
    m_batch.reserve(1);
    m_results.reserve(1);
}

AsyncFile::Request AsyncFile::Queue::add(AsyncFileRequest&& request)
{
    Request future = request.promise.future();
    QMutexLocker locker(&m_mutex);
    const bool isFirst = append(std::move(request));
    locker.unlock();
    if (isFirst)
        startFromCall();
    return future;
}

/** With the lock held; whether the queue is to be started then. */
bool AsyncFile::Queue::append(AsyncFileRequest&& request)
{
    const qint64 bytes = request.data.size();
    m_requests.push_back(std::move(request));
    m_bytes += bytes;
    ++m_made;
    return !std::exchange(m_isCarryingOut, true);
}

void AsyncFile::Queue::abandon() noexcept
{
    takeBack(
        [](const AsyncFileRequest& request) { return request.kind == AsyncFileRequest::Read; });
    bool isFirst = false;
    try {
        AsyncFileRequest close(AsyncFileRequest::Close);
        const QMutexLocker locker(&m_mutex);
        m_isAbandoned = true;
        isFirst = (m_isOpen || m_isCarryingOut) && append(std::move(close));
    } catch (const std::bad_alloc&) {
        const QMutexLocker locker(&m_mutex);
        m_isAbandoned = true; // and the file is closed when the queue goes
    }
    if (isFirst)
        startFromCall();
}

void AsyncFile::Queue::cancel()
{
    {
        const QMutexLocker locker(&m_mutex);
        m_isInterrupted = true;
    }
    takeBack([](const AsyncFileRequest&) { return true; });
}

void AsyncFile::Queue::takeBack(const std::function<bool(const AsyncFileRequest&)>& which) noexcept
{
    std::vector<Request> futures;
    QMutexLocker locker(&m_mutex);
    try {
        futures.reserve(m_requests.size());
    } catch (const std::bad_alloc&) {
        futures.clear(); // they end in their turn all the same
    }
    for (AsyncFileRequest& request : m_requests) {
        if (request.takenBack || !which(request))
            continue;
        if (futures.size() < futures.capacity())
            futures.push_back(request.promise.future());
        request.takenBack = true;
        m_bytes -= request.data.size();
        request.data.clear();
    }
    locker.unlock();
    for (Request& future : futures) {
        try {
            future.cancel();
        } catch (const std::bad_alloc&) {
            continue; // it is cancelled, but some watcher could not be told
        }
    }
}

int AsyncFile::Queue::requests() const
{
    const QMutexLocker locker(&m_mutex);
    return narrow(qint64(m_made - m_done));
}

qint64 AsyncFile::Queue::bytes() const
{
    const QMutexLocker locker(&m_mutex);
    return m_bytes;
}

bool AsyncFile::Queue::waitForFinished(int waitMsecs)
{
    const QDeadlineTimer deadline(waitMsecs);
    const QMutexLocker locker(&m_mutex);
    const quint64 wanted = m_made;
    if (m_finished < wanted && m_thread == QThread::currentThreadId())
        return false;
    while (m_finished < wanted) {
        if (!m_progress.wait(&m_mutex, deadline))
            return m_finished >= wanted;
    }
    return true;
}

bool AsyncFile::Queue::goesOnWaiting(const AsyncFileRequest& request) const
{
    const QMutexLocker locker(&m_mutex);
    const bool isWanted
        = request.kind == AsyncFileRequest::Write || !(m_isAbandoned || programAwaitsTasks());
    return isWanted && !m_isInterrupted && !request.promise.isCanceled();
}

/** Without memory or a thread the work is done before it returns, and nothing is waited for. */
void AsyncFile::Queue::startFromCall() noexcept
{
    ++callsOfThisThread;
    start();
    --callsOfThisThread;
}

void AsyncFile::Queue::start() noexcept
{
    QThreadPool* const pool = m_isPoolGlobal ? QThreadPool::globalInstance() : m_pool.data();
    const std::shared_ptr<Queue> self = weak_from_this().lock(); // a continuation may end the file
    try {
        startInBackground(pool, [self](QThreadPool* own) { self->carryOut(own); });
    } catch (const std::bad_alloc&) {
        carryOut(nullptr); // here and now rather than never
    }
}

/** In the thread for it, until there are no requests or others want the thread, too. */
void AsyncFile::Queue::carryOut(QThreadPool* pool) noexcept
{
    const QDeadlineTimer slice(sliceMsecs);
    while (takeBatch()) {
        {
            Wait wait(*this, pool, m_batch.front());
            m_worker.carryOut(m_batch, wait, m_results);
        }
        setDone();
        for (std::size_t i = 0; i < m_batch.size(); ++i)
            m_batch[i].promise.finish(m_results[i]);
        m_results.clear(); // as large as what was read
        setFinished();
        m_batch.clear(); // with what continuations hold, so without the lock
        if (pool && slice.hasExpired())
            return start(); // behind the others
    }
}

/** Whether there is a batch; without one the carrying out ends. */
bool AsyncFile::Queue::takeBatch()
{
    const QMutexLocker locker(&m_mutex);
    m_isInterrupted = false;
    m_isCarryingOut = !m_requests.empty();
    if (!m_isCarryingOut)
        return false;
    m_thread = QThread::currentThreadId();
    do {
        m_batch.push_back(std::move(m_requests.front()));
        m_requests.pop_front();
    } while (!m_requests.empty() && m_worker.joins(m_batch, m_requests.front())
             && makeRoomForOneMore());
    return true;
}

bool AsyncFile::Queue::makeRoomForOneMore() noexcept
{
    const std::size_t size = m_batch.size();
    try {
        if (size == m_batch.capacity())
            m_batch.reserve(2 * size);
        if (size >= m_results.capacity())
            m_results.reserve(2 * size);
        return true;
    } catch (const std::bad_alloc&) {
        return false; // one by one, then
    }
}

void AsyncFile::Queue::setDone()
{
    const QMutexLocker locker(&m_mutex);
    m_done += m_batch.size();
    for (const AsyncFileRequest& request : m_batch)
        m_bytes -= request.data.size();
    m_isOpen = m_worker.isOpen();
}

void AsyncFile::Queue::setFinished()
{
    const QMutexLocker locker(&m_mutex);
    m_finished += m_batch.size();
    m_thread = nullptr;
    m_progress.wakeAll();
}

} // namespace kel
