#include <Quarn/multiuser/ReaderWaits_p.h>

#include <Quarn/multiuser/ReaderCall_p.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QThread>

#include <algorithm>
#include <thread>
#include <utility>

namespace kel {
namespace {

using namespace std::chrono_literals;

constexpr auto longestLook = 20us; // what it takes to fall asleep and to be woken, or so
constexpr auto eventsEvery = 1ms;
constexpr int mostToSkip = 63;
constexpr int napMsecs = 20;
constexpr int loopAfterMsecs = 20;

} // namespace

class ReaderWaits::Wait
{
public:
    Wait(ReaderWaits& waits, int msecs)
        : deadline(msecs), outer(std::exchange(waits.m_innermost, this)), m_waits(waits)
    { }
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;
    ~Wait() { m_waits.m_innermost = outer; }

    bool running() const { return outcome == Running; }

    const QDeadlineTimer deadline;
    Wait* const outer;
    Outcome outcome = Running;
    QDeadlineTimer loopFrom{QDeadlineTimer::Forever};
    QEventLoop* loop = nullptr;

private:
    ReaderWaits& m_waits;
};

/** Sent to begin the processing of events. */
class ReaderWaits::Begin : public QEvent
{
public:
    explicit Begin(Wait& begun) : QEvent(QEvent::User), wait(begun) { }

    Wait& wait;
};

ReaderWaits::ReaderWaits(QObject* reader, std::shared_ptr<ReaderCall> call,
                         std::function<bool()> ended)
    : QObject(reader), m_call(std::move(call)), m_ended(std::move(ended)),
      m_severalProcessors(QThread::idealThreadCount() > 1), m_innermost(nullptr), m_timer(this),
      m_dispatcher(nullptr), m_interrupts(true), m_toSkip(0), m_toSkipNext(0)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &ReaderWaits::wakeUp);
}

ReaderWaits::Outcome ReaderWaits::wait(int msecs)
{
    Wait wait(*this, msecs);
    // Events are processed in an event of this object: Qt takes what happens there for one level
    // deeper than what waits, as in an event loop of its own, and deletes by deleteLater() what was
    // to be deleted on this one, but nothing that the caller may still use.
    if (dispatcher()) {
        Begin begin(wait);
        QCoreApplication::sendEvent(this, &begin);
        if (wait.running()) // a filter of the application kept the event
            process(wait);
        if (wait.outer)
            interrupt(); // it may have ended, and fallen asleep again in this one
    } else {
        poll(wait);
    }
    return wait.outcome;
}

void ReaderWaits::end(Outcome outcome)
{
    for (Wait* wait = m_innermost; wait; wait = wait->outer) {
        if (wait->running())
            wait->outcome = outcome;
        if (wait->loop)
            wait->loop->quit();
    }
    if (m_innermost)
        interrupt();
}

bool ReaderWaits::event(QEvent* event)
{
    if (event->type() == QEvent::User) {
        process(static_cast<Begin*>(event)->wait);
        return true;
    }
    if (event->type() == QEvent::ThreadChange)
        m_timer.stop(); // in the new thread it would come later
    return QObject::event(event);
}

void ReaderWaits::process(Wait& wait)
{
    lookForWrite();
    if (QThread::currentThread()->loopLevel() == 0)
        wait.loopFrom.setRemainingTime(loopAfterMsecs);
    while (wait.running()) {
        QAbstractEventDispatcher* const events = dispatcher();
        if (!events)
            return poll(wait);
        // Once more when the time is over: what has come is not to be lost to the limit.
        const bool over = wait.deadline.hasExpired();
        if (!over && wait.loopFrom.hasExpired()) {
            // What deleted itself later by now: in the loop it would count as what the caller still uses.
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            if (wait.running() && dispatcher())
                processInLoop(wait);
            continue;
        }
        if (!over)
            wakeUpAt(std::min(wait.deadline, wait.loopFrom));
        events->processEvents(over ? QEventLoop::AllEvents
                                   : QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        if (m_interrupts && wait.running() && m_call->pending() && dispatcher())
            m_call->hasten(); // it woke this wait, and its turn would be in the next round
        if (m_severalProcessors && m_toSkip == 0) // otherwise the next wait doesn't ask
            m_eventsDue = Clock::now() + eventsEvery;
        if (over && wait.running())
            wait.outcome = TimedOut;
    }
}

/**
 * Waits in an event loop where the thread has none: only there newer Qts carry out what another
 * thread's deleteLater() asked for.
 */
void ReaderWaits::processInLoop(Wait& wait)
{
    wait.loopFrom = QDeadlineTimer(QDeadlineTimer::Forever); // QThread::exit() ends it too early
    wakeUpAt(wait.deadline);
    const auto watch = connect(m_dispatcher, &QAbstractEventDispatcher::awake, this,
                               &ReaderWaits::leaveLoops, Qt::DirectConnection);
    QEventLoop loop;
    wait.loop = &loop;
    loop.exec();
    wait.loop = nullptr;
    disconnect(watch);
}

/** Has the waits look at the time, and at who wakes them up next. */
void ReaderWaits::wakeUp()
{
    leaveLoops();
    if (m_innermost)
        interrupt(); // on Windows this may be a posted event, after which the dispatcher falls asleep
}

/** Ends the loops whose time is over, and those that get no events any more. */
void ReaderWaits::leaveLoops()
{
    for (Wait* wait = m_innermost; wait; wait = wait->outer) {
        if (wait->loop && (wait->deadline.hasExpired() || !QCoreApplication::instance()))
            wait->loop->quit();
        else if (wait->loop)
            wakeUpAt(wait->deadline);
    }
}

/** Ends the wait if the next write comes at once, which saves both threads a visit to the kernel. */
void ReaderWaits::lookForWrite()
{
    if (!m_severalProcessors)
        return;
    if (m_toSkip > 0) {
        --m_toSkip;
        return;
    }
    const auto begin = Clock::now();
    if (begin >= m_eventsDue)
        return;
    do {
        if (m_call->pending()) {
            m_call->hasten();
            m_toSkipNext = 0;
            return;
        }
        std::this_thread::yield();
    } while (Clock::now() - begin < longestLook);
    m_toSkipNext = std::min(2 * m_toSkipNext + 1, mostToSkip);
    m_toSkip = m_toSkipNext;
}

/** Waits where Qt delivers no events, because there is no application object. */
void ReaderWaits::poll(Wait& wait)
{
    while (wait.running()) {
        const qint64 left = wait.deadline.remainingTime(); // -1 without limit
        QThread::msleep(ulong(left < 0 ? napMsecs : std::min<qint64>(left, napMsecs)));
        if (thread() == QThread::currentThread())
            m_call->tell();
        if (wait.running() && m_ended())
            wait.outcome = Closed;
        else if (wait.running() && wait.deadline.hasExpired())
            wait.outcome = TimedOut;
    }
}

void ReaderWaits::wakeUpAt(const QDeadlineTimer& deadline)
{
    // One that comes too early does no harm, so most waits of a row need none of their own.
    if (deadline.isForever() || (m_timer.isActive() && m_wakeUp <= deadline))
        return;
    m_timer.start(int(deadline.remainingTime()));
    m_wakeUp = deadline;
}

/** Of this thread; null where Qt delivers no events. */
QAbstractEventDispatcher* ReaderWaits::dispatcher()
{
    if (!QCoreApplication::instance() || thread() != QThread::currentThread())
        return nullptr;
    if (!QAbstractEventDispatcher::instance())
        const QEventLoop makesOne;
    QAbstractEventDispatcher* const found = QAbstractEventDispatcher::instance();
    if (found != m_dispatcher) {
        m_dispatcher = found;
        // GLib's delivers what was posted after its sleep and returns then; the others sleep after it.
        m_interrupts = found && !found->inherits("QEventDispatcherGlib");
    }
    return found;
}

void ReaderWaits::interrupt()
{
    if (m_interrupts && dispatcher())
        m_dispatcher->interrupt();
}

} // namespace kel
