#ifndef QUARN_MULTIUSER_READERWAITS_P_H
#define QUARN_MULTIUSER_READERWAITS_P_H

#include <QDeadlineTimer>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>

class QAbstractEventDispatcher;

namespace kel {
class ReaderCall;

/**
 * \brief The waits of a reader, which process the events of its thread until something ends them.
 *
 * A wait may begin while another one runs, in a slot; all of them end together, or by their own
 * limits. A short one has no QEventLoop in it: QThread::exit() ends every one of the thread, and to
 * leave one costs as much as all else of a wait. Before a wait goes to sleep, it looks for a few
 * microseconds whether the next write comes already, where writes have come that quickly before.
 */
class ReaderWaits : public QObject
{
public:
    enum Outcome { TimedOut, Written, Closed, Leaving, Running };

    /** \a ended tells whether the producer has closed, for waits without events. */
    ReaderWaits(QObject* reader, std::shared_ptr<ReaderCall> call, std::function<bool()> ended);

    /** Waits up to \a msecs, without limit if negative, and returns what ended the wait. */
    Outcome wait(int msecs);

    /** Ends the waits that run. Call it from the thread that waits. */
    void end(Outcome outcome);

    bool running() const { return m_innermost; }

protected:
    bool event(QEvent* event) override;

private:
    class Wait;
    class Begin;
    using Clock = std::chrono::steady_clock;

    void process(Wait& wait);
    void processInLoop(Wait& wait);
    void wakeUp();
    void leaveLoops();
    void lookForWrite();
    void poll(Wait& wait);
    void wakeUpAt(const QDeadlineTimer& deadline);
    QAbstractEventDispatcher* dispatcher();
    void interrupt();

    const std::shared_ptr<ReaderCall> m_call;
    const std::function<bool()> m_ended;
    const bool m_severalProcessors;
    Wait* m_innermost; // on the stack of the thread that waits
    QTimer m_timer; // wakes the thread up; what is over is told by the deadline
    QDeadlineTimer m_wakeUp; // when the timer comes
    QAbstractEventDispatcher* m_dispatcher; // of the thread that waited last
    bool m_interrupts; // whether it sleeps on after an event unless it is interrupted
    Clock::time_point m_eventsDue; // before that nobody minds if a wait processes none
    int m_toSkip; // waits that won't look for a write
    int m_toSkipNext; // after one has looked in vain
};

} // namespace kel
#endif
