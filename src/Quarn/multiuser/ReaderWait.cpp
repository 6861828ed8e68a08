#include <Quarn/multiuser/ReaderWait_p.h>

#include <QAbstractEventDispatcher>
#include <QThread>

namespace kel {

ReaderWait::ReaderWait(QObject* reader)
    : QObject(reader), m_eventLoop(this), m_timer(this), m_outcome(TimedOut)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, [this] { end(TimedOut); });
}

ReaderWait::Outcome ReaderWait::run(int msecs)
{
    if (!QAbstractEventDispatcher::instance()) {
        // No QCoreApplication, so no events: a nap, and whoever waits looks for himself.
        constexpr int nap = 20;
        QThread::msleep(ulong(msecs < 0 ? nap : qMin(msecs, nap)));
        return TimedOut;
    }
    m_outcome = Running;
    if (msecs >= 0)
        m_timer.start(msecs);
    m_eventLoop.exec();
    while (m_outcome == Running)
        m_eventLoop.processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    m_timer.stop();
    return m_outcome;
}

void ReaderWait::end(Outcome outcome)
{
    if (m_outcome != Running)
        return;
    m_outcome = outcome;
    m_eventLoop.exit(outcome);
}

} // namespace kel
