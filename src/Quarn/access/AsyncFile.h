#ifndef QUARN_ACCESS_ASYNCFILE_H
#define QUARN_ACCESS_ASYNCFILE_H

#include <Quarn/quarn_export.h>

#include <QByteArray>
#include <QFileDevice>
#include <QFuture>
#include <QIODevice>
#include <QString>

#include <memory>

class QThreadPool;

namespace kel {

/**
 * \brief What became of a request to an AsyncFile.
 *
 * \par Threads
 * A value, as safe as a QString.
 */
struct AsyncFileResult
{
    qint64 count
        = 0; ///< bytes read or written, before a failure too; the new position after a seek
    QByteArray data; ///< what was read, before a failure too
    QFileDevice::FileError error = QFileDevice::NoError; ///< the kind of failure
    QString errorString; ///< for users, empty without an error

    /** Whether all of the request was done. */
    bool ok() const { return error == QFileDevice::NoError; }
};

/**
 * \brief A file whose operations are queued and carried out in another thread, one after another.
 *
 * \snippet background-save/main.cpp save
 *
 * Each call returns at once, with a future that gets its one result in the order of the calls. A
 * QFutureWatcher tells of it in the thread where it lives. QFuture::then(), with Qt 6, runs in the
 * thread that the file has at the moment, and the file goes on when it returns; it may use the file,
 * and destroy it, but not wait for it.
 *
 * \par Failures
 * | The request                                | The error of its result                        |
 * |--------------------------------------------|------------------------------------------------|
 * | failed                                     | that of QFile; the count tells how far it came |
 * | stands behind one that failed              | AbortError; nothing of it was done             |
 * | was cancelled                              | AbortError; the count tells how far it came    |
 * | is a close(), and one since open() failed  | that of the first failure; the file is closed  |
 *
 * Where there is no memory for a request, its call throws std::bad_alloc and nothing is queued. A
 * request that was made has a result, without memory, too; QFuture never throws.
 *
 * No write follows one that is missing: after a failure nothing is carried out up to the next open()
 * or close(). Who looks at the result of close() alone misses no failure.
 *
 * \par Cancelling
 * QFuture::cancel() takes a request back that has not begun, as if it had never been made. A read or
 * write that has begun ends after the current piece of 1 MiB, and counts as failed if it is not
 * complete. Cancelled futures, too, end in their turn and have a result.
 *
 * \par Waiting
 * A pipe that nobody writes or reads, or a silent terminal, holds up this file alone, not the pool.
 * QFuture::cancel() and cancel() end such a wait within a tenth of a second. So do the destructor
 * and the end of the program, unless it is for a reader of the pipe to go on reading. On Windows,
 * and where a server doesn't answer, the call stays in the system and its thread with it: give such
 * files a pool of their own.
 * Where there is neither memory nor a thread for a request, the call that makes it carries it out and
 * gives such a wait up: AbortError.
 *
 * \par Ending
 * The destructor doesn't block. What is queued is still carried out, except reads, and the file is
 * closed; the end of the program waits for that. Ask close().waitForFinished() first where a failure
 * counts.
 *
 * \par Writing
 * Bytes go to the system past every buffer of the process. Small writes to a regular file that are
 * queued one behind the other reach it together. Queued writes share their bytes, so ask
 * queuedBytes() before adding more.
 *
 * \par Threads
 * Every call may come from any thread; requests are carried out in the order of the calls.
 */
class QUARN_EXPORT AsyncFile
{
public:
    /** What each request answers at once: the result to come. */
    using Request = QFuture<AsyncFileResult>;

    /**
     * Opens nothing yet. A file with requests takes one thread of \a pool for as long as they last;
     * null stands for the global pool. A pool is borrowed: while it is being destroyed, which waits
     * for the requests, no other thread may make more. Those made later get a thread of their own.
     * Threads of the pool should not wait for requests, which may need that very thread.
     */
    explicit AsyncFile(const QString& fileName, QThreadPool* pool = nullptr);
    AsyncFile(const AsyncFile&) = delete;
    AsyncFile& operator=(const AsyncFile&) = delete;
    ~AsyncFile();

    /**
     * Opens the file as QFile does, but without QIODevice::Text. An open file is closed first. A pipe
     * that is to be written waits for its first reader.
     */
    Request open(QIODevice::OpenMode mode);
    /** Up to \a maxSize bytes from the position on; fewer only at the end or in a full QByteArray. */
    Request read(qint64 maxSize);
    /** All of \a data; the count tells how much when the disk is full. */
    Request write(const QByteArray& data);
    /** Moves to \a position, where the next read or write begins. */
    Request seek(qint64 position);
    /** Sees to it that what was written survives a power failure. */
    Request flush();
    /** Closes the file; see "Failures" above for its result. */
    Request close();

    /** How many requests have not been carried out, with the one under way. */
    int queuedRequests() const;
    /** Of the writes among them, in bytes. */
    qint64 queuedBytes() const;

    /** Takes back everything that has not begun, and ends a wait for the other end of a pipe. */
    void cancel();

    /**
     * Waits until all requests made so far have got their results; negative \a waitMsecs: no limit.
     *
     * \return false when the time has passed, or at once in a continuation, for which the file waits
     */
    [[nodiscard]] bool waitForFinished(int waitMsecs = -1);

private:
    class QUARN_NO_EXPORT Queue;
    std::shared_ptr<Queue> m_queue;
};

} // namespace kel
#endif
