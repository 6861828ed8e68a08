#ifndef QUARN_ACCESS_KELFILEACCESS_H
#define QUARN_ACCESS_KELFILEACCESS_H

#include <Quarn/quarn_export.h>

#include <QByteArray>
#include <QFile>
#include <QMutex>
#include <QString>
#include <QThread>
#include <QWaitCondition>

#include <atomic>
#include <memory>

namespace kel {
class SecretText;

/**
 * \brief Opens, reads, writes and closes one file, directly or on a worker thread of its own.
 *
 * In direct mode, after `open(mode, false)`, every call does its work before it returns. In
 * threaded mode, after `open(mode, true)`, a call hands its work to the worker thread, which this
 * object is, and returns at once; readFinished() or writeFinished() tells that it is done.
 * Every threaded request is one of:
 *
 * | Request                                                        | What becomes of it         |
 * |----------------------------------------------------------------|----------------------------|
 * | while another one is pending or carried out                    | dropped; open() says false |
 * | open() of a file that is not closed, anything else if not open | dropped; open() says false |
 * | on the worker thread: from a directly connected slot           | dropped; open() says false |
 * | any other, so also the next one of a slot with queued signals  | carried out once           |
 *
 * A request made before QThread::start() waits for it, and so does one for which no thread can be
 * had; isRunning() tells that. After a threaded open that failed only a direct open() is accepted;
 * error() tells the reason.
 *
 * \par Opening
 * No signal tells that a threaded open or close is done, and until it is, a read or a write is
 * dropped. A program that must not wait, as in a window's thread, has the worker end after the
 * open, which QThread::finished() tells:
 *
 *     connect(&access, &QThread::finished, this, &Saver::startAgainAndWrite);
 *     access.open(QIODevice::WriteOnly, true);
 *     access.start();
 *     access.stop();
 *
 * Then it begins anew. The first write is sure to be accepted, and so is each one made when the one
 * before has signalled its end. A program that has something else to do asks isIdle() now and then.
 * AsyncFile needs none of this: it queues its requests, and each has a result of its own.
 *
 * \par Threads
 * Requests may come from any thread and never block. The signals are emitted on the worker thread;
 * a slot of an object that lives elsewhere is queued to its thread. The other calls may be made at
 * any time in any thread. Direct ones wait for a request that is being carried out; one that the
 * worker hasn't come for yet they carry out first, and emit its signal in their own thread.
 *
 * \par Ending
 * stop() and the destructor end the worker: quit() and exit() don't, and waiting for it afterwards
 * takes forever. The destructor waits until the worker has carried out what was accepted, does that
 * itself where there is no worker, and closes the file. Requests of directly connected slots are
 * dropped meanwhile. Delete the object in any queued slot, or call deleteLater(). On the worker
 * thread, in a directly connected slot, deleting it is a fatal error, as a thread cannot wait for
 * its own end; in a slot that the worker waits for (Qt::BlockingQueuedConnection) it would wait
 * forever.
 */
class QUARN_EXPORT KelFileAccess : public QThread
{
    Q_OBJECT

public:
    /** Neither opens \a fileName nor starts the thread. */
    explicit KelFileAccess(const QString& fileName, QObject* parent = nullptr);
    /** See "Ending" above; blocks until what was accepted has been carried out. */
    ~KelFileAccess() override;

    /**
     * Stores both, the password in memory that is left out of core dumps, locked as far as the
     * process may, and wiped; files are accessed as the process's user all the same.
     *
     * \throws std::bad_alloc
     */
    void setUserAndPassword(const QString& user, const QString& password);

    /**
     * Chooses the mode, whatever the result, and opens the file. A name with a zero character is that
     * of no file.
     *
     * \return direct: whether the file was opened; threaded: whether the request was accepted
     */
    bool open(QIODevice::OpenMode mode, bool threaded);
    /** Closes the file. In threaded mode no signal tells that it is done, but isIdle(). */
    void close();

    /**
     * Replaces \a target with the next bytes of the file, at most \a maxSize, fewer at its end or
     * when reading fails; error() then tells the reason, QFile::ResourceError for want of memory.
     * In threaded mode \a target must be left alone until readFinished().
     */
    void read(QByteArray& target, qint64 maxSize);

    /**
     * Writes all of \a data, as far as the file takes it, past every buffer of the process. In
     * threaded mode the bytes are shared until writeFinished(), not copied.
     */
    void write(const QByteArray& data);

    /** Whether there is a file with this name; links are followed. */
    bool exists() const;
    /** In bytes; while a request is carried out, that of the file with this name. */
    qint64 size() const;
    /** Of the last operation that was carried out; that of a threaded open included. */
    QFile::FileError error() const;

    /** Whether no request is pending or carried out, so that the next one isn't refused for that. */
    bool isIdle() const;

    /**
     * Ends the worker when it has carried out what was accepted, without waiting for it: wait() does,
     * with a limit. Classes that derive from this one call both in their destructors. After it
     * start() begins anew.
     */
    void stop();

Q_SIGNALS:
    /** A threaded read is done; \a bytesRead is the size of the target. See error() if it is short. */
    void readFinished(qint64 bytesRead);
    /**
     * A threaded write is done; \a bytesWritten is less than the size of the data after an error,
     * -1 when nothing was written.
     */
    void writeFinished(qint64 bytesWritten);

private:
    enum State : qint32 { Closed, Opened, Reading, Writing, OpenFailed };
    enum Request : qint32 { NoRequest, OpenRequest, CloseRequest, ReadRequest, WriteRequest };

    Q_DISABLE_COPY(KelFileAccess)

    bool impersonate() const;
    void revertToSelf() const;

    bool isThreaded();
    void setState(State state);
    template <typename Store>
    bool handOver(Request request, State needed, Store store);

    void run() override;
    bool waitForRequest();
    void carryOut();
    Request acceptedRequest();
    void requestDone(State state);

    // With m_fileMutex held:
    State stateOfFile() const;
    bool openFile(QIODevice::OpenMode mode);
    void closeFile();
    void readFile(qint64 maxSize, QByteArray& target);
    qint64 writeFile(const QByteArray& data);

    State m_state; // guarded by m_mutex
    Request m_request; // guarded by m_mutex; kept until it has been carried out
    bool m_threaded; // guarded by m_mutex
    bool m_ending; // guarded by m_mutex; in the destructor
    const QString m_fileName;
    QFile m_file; // guarded by m_fileMutex
    std::atomic<QFile::FileError> m_error; // of m_file
    // The details of the request: written with m_mutex held while there is none, then of whoever
    // carries it out.
    QIODevice::OpenMode m_openMode;
    QByteArray* m_pendingBuffer; // borrowed
    QByteArray m_pendingData;
    qint64 m_maxSize;
    QString m_user; // guarded by m_mutex
    std::unique_ptr<SecretText> m_password; // guarded by m_mutex
    mutable QMutex m_mutex; // held for instants; under it only QThread's own
    // Held while the file is worked on and until m_state tells so, never while a signal is emitted.
    // Taken before m_mutex.
    mutable QMutex m_fileMutex;
    QWaitCondition m_waitCondition; // there is a request, or the worker is to end
};

} // namespace kel
#endif
