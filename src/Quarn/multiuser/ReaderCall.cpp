#include <Quarn/multiuser/ReaderCall_p.h>

#include <QObject>
#include <QThread>

#include <utility>

namespace kel {

/** Goes with the posted event: one that is never delivered must not hold back later ones. */
class ReaderCall::Posted
{
public:
    explicit Posted(std::shared_ptr<ReaderCall> call) : m_call(std::move(call)) { }
    Posted(Posted&&) = default;
    ~Posted()
    {
        if (m_call)
            m_call->m_posted = false;
    }

    void operator()()
    {
        const std::shared_ptr<ReaderCall> call = std::exchange(m_call, nullptr);
        call->deliver();
    }

private:
    std::shared_ptr<ReaderCall> m_call;
};

ReaderCall::ReaderCall(QObject* reader, Function function)
    : m_function(std::move(function)), m_reader(reader)
{ }

void ReaderCall::callOrPost(qint64 count)
{
    if (readerLivesHere())
        m_function(count);
    else
        post(count);
}

void ReaderCall::post(qint64 count)
{
    m_count += count;
    if (m_posted.exchange(true))
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_reader)
        QMetaObject::invokeMethod(m_reader, Posted(shared_from_this()), Qt::QueuedConnection);
}

void ReaderCall::readerEnds()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reader = nullptr;
}

bool ReaderCall::readerLivesHere()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_reader && m_reader->thread() == QThread::currentThread();
}

void ReaderCall::deliver()
{
    // Before the reader looks at the data: a write that it may miss posts again. An exchange, not
    // a store: what happened before the emissions that were added has happened for the reader.
    m_posted.exchange(false);
    m_function(m_count.exchange(0));
}

} // namespace kel
