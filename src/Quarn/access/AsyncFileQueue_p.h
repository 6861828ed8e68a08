#ifndef QUARN_ACCESS_ASYNCFILEQUEUE_P_H
#define QUARN_ACCESS_ASYNCFILEQUEUE_P_H

#include <Quarn/access/AsyncFileRequest_p.h>
#include <Quarn/access/AsyncFileWorker_p.h>

#include <QMutex>
#include <QPointer>
#include <QThread>
#include <QThreadPool>
#include <QWaitCondition>

#include <deque>
#include <functional>
#include <vector>

namespace kel {

/**
 * \brief The requests to an AsyncFile, which may outlive it.
 *
 * While there are requests, one thread at a time carries them out and keeps the queue alive.
 */
class AsyncFile::Queue : public std::enable_shared_from_this<AsyncFile::Queue>
{
public:
    Queue(const QString& fileName, QThreadPool* pool);

    Request add(AsyncFileRequest&& request);
    /** The file is gone: nobody wants to read any more, and it is to be closed. */
    void abandon() noexcept;
    /** Takes back all that has not begun. */
    void cancel();

    int requests() const;
    qint64 bytes() const;
    bool waitForFinished(int waitMsecs);

private:
    class Wait;
    using Requests = std::vector<AsyncFileRequest>;
    using Results = std::vector<AsyncFileResult>;

    bool append(AsyncFileRequest&& request);
    void takeBack(const std::function<bool(const AsyncFileRequest&)>& which) noexcept;
    bool goesOnWaiting(const AsyncFileRequest& request) const;

    void startFromCall() noexcept;
    void start() noexcept;
    void carryOut(QThreadPool* pool) noexcept;
    bool takeBatch();
    bool makeRoomForOneMore() noexcept;
    void setDone();
    void setFinished();

    const bool m_isPoolGlobal;
    const QPointer<QThreadPool> m_pool;
    // Of the thread that carries out; there is always room for one.
    AsyncFileWorker m_worker;
    Requests m_batch;
    Results m_results;

    mutable QMutex m_mutex; // a leaf, held for instants; guards what follows
    QWaitCondition m_progress; // of m_finished
    std::deque<AsyncFileRequest> m_requests; // that have not begun
    quint64 m_made = 0; // requests, all in all
    quint64 m_done = 0; // of these
    quint64 m_finished = 0; // of these, whose futures know
    qint64 m_bytes = 0; // to be written by those not done
    bool m_isOpen = false; // the file, after what is done
    bool m_isCarryingOut = false; // a thread does, or will do so soon
    Qt::HANDLE m_thread = nullptr; // that carries out
    bool m_isAbandoned = false;
    bool m_isInterrupted = false; // the wait of the requests under way, if they do wait
};

} // namespace kel
#endif
