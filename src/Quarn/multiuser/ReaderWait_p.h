#ifndef QUARN_MULTIUSER_READERWAIT_P_H
#define QUARN_MULTIUSER_READERWAIT_P_H

#include <QEventLoop>
#include <QTimer>

namespace kel {

/**
 * \brief One wait of a reader, in a local event loop.
 *
 * Keeps what ended it apart from the exit code of the event loop: QThread::exit() ends every loop
 * of its thread with any code, and a loop in a thread that is quitting doesn't even start. The
 * wait then goes on without a loop of its own, processing events until its time has passed.
 */
class ReaderWait : public QObject
{
public:
    enum Outcome {
        TimedOut = 0,
        Written = 1,
        Closed = 2,
        Running = 3,
    };

    explicit ReaderWait(QObject* reader);

    /** Waits up to \a msecs, without limit if negative, and returns what ended the wait. */
    Outcome run(int msecs);

    /** Ends the wait if it runs. Call it from the thread that waits. */
    void end(Outcome outcome);

private:
    QEventLoop m_eventLoop;
    QTimer m_timer;
    Outcome m_outcome;
};

} // namespace kel
#endif
