#include <Quarn/multiuser/ReaderCall_p.h>

#include <QCoreApplication>
#include <QEvent>
#include <QThread>

#include <new>
#include <utility>

namespace kel {

/** The posted call. One that is never delivered must not hold back later ones. */
class ReaderCall::Posted : public QEvent
{
public:
    explicit Posted(std::shared_ptr<ReaderCall> call)
        : QEvent(QEvent::User), m_call(std::move(call))
    { }

    ~Posted() override
    {
        if (m_call)
            m_call->m_posted = false;
    }

    void deliver()
    {
        const std::shared_ptr<ReaderCall> call = std::exchange(m_call, nullptr);
        call->m_posted = false; // before it looks: a write that it may miss posts again
        call->tell();
    }

private:
    std::shared_ptr<ReaderCall> m_call;
};

/** Goes with the reader from thread to thread, and gets the events there. */
class ReaderCall::Receiver : public QObject
{
public:
    Receiver(QObject* reader, ReaderCall* call) : QObject(reader), m_call(call) { }

    static constexpr QEvent::Type hastened = QEvent::Type(QEvent::User + 1);

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::User)
            static_cast<Posted*>(event)->deliver();
        else if (event->type() == hastened)
            m_call->tell();
        else
            return QObject::event(event);
        return true; // no look at this any more: the reader may have ended
    }

private:
    ReaderCall* const m_call;
};

ReaderCall::ReaderCall(QObject* reader, Function function)
    : m_function(std::move(function)), m_receiver(new Receiver(reader, this))
{ }

void ReaderCall::follow(std::shared_ptr<const WriteProgress> progress)
{
    m_progress = std::move(progress);
    m_told = m_progress->emitted.load();
}

void ReaderCall::written(const QThread* home) noexcept
{
    if (m_posted)
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_receiver && m_receiver->thread() != home)
        post();
}

void ReaderCall::emitted()
{
    const qint64 position = m_progress->emitted;
    if (m_told >= position)
        return;
    if (readerLivesHere())
        tellUpTo(position);
    else
        postEmitted();
}

void ReaderCall::postEmitted() noexcept
{
    if (m_told >= m_progress->emitted)
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_receiver)
        post();
}

bool ReaderCall::pending() const
{
    return m_posted && m_progress && m_progress->written > m_told;
}

void ReaderCall::hasten()
{
    const std::shared_ptr<ReaderCall> alive = shared_from_this();
    // Sent, so that slots find themselves as deep in events as in a call that came by the event loop.
    QEvent event(Receiver::hastened);
    QCoreApplication::sendEvent(m_receiver, &event);
}

void ReaderCall::tell()
{
    if (m_progress)
        tellUpTo(m_progress->written);
}

std::unique_ptr<QObject> ReaderCall::readerEnds()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    std::unique_ptr<QObject> receiver(std::exchange(m_receiver, nullptr));
    lock.unlock(); // what follows sends events
    receiver->setParent(nullptr);
    QCoreApplication::removePostedEvents(receiver.get());
    return receiver;
}

bool ReaderCall::readerLivesHere()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_receiver && m_receiver->thread() == QThread::currentThread();
}

/** With the lock held. */
void ReaderCall::post()
{
    if (m_posted.exchange(true))
        return;
    try {
        QCoreApplication::postEvent(m_receiver, new Posted(shared_from_this()));
    } catch (const std::bad_alloc&) {
        m_posted = false; // the next write makes up for it
    }
}

void ReaderCall::tellUpTo(qint64 position)
{
    const qint64 before = m_told;
    if (before >= position)
        return;
    m_told = position;
    m_function(position - before);
}

} // namespace kel
