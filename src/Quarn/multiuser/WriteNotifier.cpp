#include <Quarn/multiuser/WriteNotifier_p.h>

#include <QCoreApplication>
#include <QEvent>
#include <QIODevice>
#include <QThread>

#include <condition_variable>
#include <mutex>
#include <utility>

namespace kel {

struct WriteNotifier::State
{
    std::mutex mutex; // guards all below; a leaf: nothing is called or emitted under it
    std::condition_variable emissionDone;
    QIODevice* device = nullptr; // null once the device is being destroyed
    Messenger* messenger = nullptr; // made by the first write
    bool posted = false; // an emission is on its way
    qint64 written = 0; // since the last emission
    int emissions = 0; // running now, nested ones included; all in one thread
    QThread* emitter = nullptr;
};

/**
 * Lives in the device's thread and receives the posted events there. The device itself cannot: it
 * may be destroyed by its last reader in another thread while an event for it is being delivered.
 */
class WriteNotifier::Messenger : public QObject
{
public:
    explicit Messenger(std::shared_ptr<State> state) : m_state(std::move(state)) { }

protected:
    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        deliver(m_state); // a copy: the slots may end the device, and this messenger with it
        return true;
    }

private:
    static void deliver(std::shared_ptr<State> state)
    {
        std::unique_lock<std::mutex> lock(state->mutex);
        if (!state->device || !state->posted)
            return;
        // Before the emission, so that a write from now on is followed by one of its own.
        state->posted = false;
        const qint64 written = std::exchange(state->written, 0);
        ++state->emissions;
        state->emitter = QThread::currentThread();
        QIODevice* const device = state->device;
        lock.unlock();

        Q_EMIT device->bytesWritten(written);
        lock.lock();
        const bool alive = state->device;
        lock.unlock();
        if (alive)
            Q_EMIT device->readyRead();

        lock.lock();
        if (--state->emissions == 0)
            state->emissionDone.notify_all();
    }

    const std::shared_ptr<State> m_state;
};

WriteNotifier::WriteNotifier(QIODevice* device) : m_state(std::make_shared<State>())
{
    m_state->device = device;
}

WriteNotifier::~WriteNotifier()
{
    std::unique_lock<std::mutex> lock(m_state->mutex);
    m_state->device = nullptr;
    m_state->emissionDone.wait(lock, [this] {
        return m_state->emissions == 0 || m_state->emitter == QThread::currentThread();
    });
    Messenger* const messenger = std::exchange(m_state->messenger, nullptr);
    const bool emitting = m_state->emissions > 0;
    lock.unlock();
    dispose(messenger, emitting);
}

void WriteNotifier::bytesWritten(qint64 count)
{
    if (count > 0)
        post(count);
}

void WriteNotifier::deviceMoves()
{
    std::unique_lock<std::mutex> lock(m_state->mutex);
    Messenger* const messenger = std::exchange(m_state->messenger, nullptr);
    const bool pending = std::exchange(m_state->posted, false);
    const bool emitting = m_state->emissions > 0;
    QIODevice* const device = m_state->device;
    lock.unlock();
    dispose(messenger, emitting);
    if (pending) // events posted to the device go with it
        QMetaObject::invokeMethod(
            device, [this] { post(0); }, Qt::QueuedConnection);
}

void WriteNotifier::post(qint64 count)
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->written += count;
    if (m_state->posted)
        return;
    if (!m_state->messenger) {
        m_state->messenger = new Messenger(m_state);
        m_state->messenger->moveToThread(m_state->device->thread());
    }
    QCoreApplication::postEvent(m_state->messenger, new QEvent(QEvent::User));
    m_state->posted = true;
}

/** \a emitting tells that the messenger may be delivering further up in this very thread. */
void WriteNotifier::dispose(Messenger* messenger, bool emitting)
{
    if (!messenger)
        return;
    const QThread* const home = messenger->thread();
    const bool undisturbed = home == QThread::currentThread() && !emitting;
    if (undisturbed || !home || home->isFinished())
        delete messenger;
    else
        messenger->deleteLater();
}

} // namespace kel
