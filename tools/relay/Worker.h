#ifndef RELAY_WORKER_H
#define RELAY_WORKER_H

#include <QObject>

#include <thread>

/**
 * \brief A thread with an object of its own, which can wait for Qt's events there.
 *
 * Unlike QThread::wait(), join() waits until nothing of the thread is left: libraries that clean
 * up behind a thread must have done so when the process ends.
 */
class Worker : public QObject
{
    Q_OBJECT

public:
    Worker();
    /** The thread must not run any more. */
    ~Worker() override;

    /** Throws std::system_error when the system has no thread left. */
    void start();

    /** Waits for the end of the thread, if it was started. */
    void join();

Q_SIGNALS:
    /** Comes from the thread when run() has returned. */
    void finished();

protected:
    /** The thread's work. Must not throw. */
    virtual void run() = 0;

private:
    std::thread m_thread;
};

#endif
