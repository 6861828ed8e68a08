#include <Quarn/multiuser/WriteNotifier_p.h>

#include <Quarn/multiuser/ReaderConnections_p.h>

#include <QCoreApplication>
#include <QEvent>
#include <QIODevice>
#include <QThread>

#include <mutex>
#include <utility>

namespace kel {
namespace {

/**
 * Takes an object along when it is deleted itself. QObject::deleteLater() marks the object, without
 * a lock, and the object's thread may be about to hand it an event.
 */
class Undertaker : public QObject
{
public:
    explicit Undertaker(QObject* object) : m_object(object) { }

private:
    const std::unique_ptr<QObject> m_object;
};

} // namespace

struct WriteNotifier::State
{
    State(QIODevice* emitter, std::shared_ptr<ReaderConnections> connections)
        : device(emitter), readers(std::move(connections))
    { }

    QIODevice* const device; // to be used in an emission that the readers' connections let begin
    const std::shared_ptr<ReaderConnections> readers;
    std::mutex mutex; // guards all below; a leaf: nothing is called or emitted under it
    Messenger* messenger = nullptr; // made by the first write
    bool posted = false; // an emission is on its way
    qint64 written = 0; // since the last emission
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
        deliver(m_state, this); // a copy: the slots may end the device, and this messenger with it
        return true;
    }

private:
    static void deliver(std::shared_ptr<State> state, const Messenger* messenger)
    {
        std::unique_lock<std::mutex> lock(state->mutex);
        if (!state->posted || state->messenger != messenger)
            return; // one that was replaced is in a thread that the device has left
        // Before the emission begins, so that a write from now on is followed by one of its own,
        // which readers that come from now on get too.
        state->posted = false;
        const qint64 written = std::exchange(state->written, 0);
        lock.unlock();

        const ReaderConnections::Emission emission(state->readers, ReaderConnections::BytesWritten);
        if (!emission)
            return;
        Q_EMIT state->device->bytesWritten(written);
        if (state->readers->deviceLives())
            Q_EMIT state->device->readyRead();
    }

    const std::shared_ptr<State> m_state;
};

WriteNotifier::WriteNotifier(QIODevice* device, std::shared_ptr<ReaderConnections> readers)
    : m_device(device), m_state(std::make_shared<State>(device, std::move(readers)))
{ }

WriteNotifier::~WriteNotifier()
{
    m_state->readers->deviceEnds();
    std::unique_lock<std::mutex> lock(m_state->mutex);
    Messenger* const messenger = std::exchange(m_state->messenger, nullptr);
    lock.unlock();
    dispose(messenger);
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
    lock.unlock();
    dispose(messenger);
    if (pending) // events posted to the device go with it
        QMetaObject::invokeMethod(
            m_device, [this] { post(0); }, Qt::QueuedConnection);
}

void WriteNotifier::post(qint64 count)
{
    std::unique_lock<std::mutex> lock(m_state->mutex);
    m_state->written += count;
    QThread* const home = m_device->thread();
    Messenger* outdated = nullptr;
    if (m_state->messenger && m_state->messenger->thread() != home) {
        // Made by a write from another thread after deviceMoves(), but before the device did.
        outdated = std::exchange(m_state->messenger, nullptr);
        m_state->posted = false;
    }
    if (!m_state->posted) {
        if (!m_state->messenger) {
            m_state->messenger = new Messenger(m_state);
            m_state->messenger->moveToThread(home);
        }
        QCoreApplication::postEvent(m_state->messenger, new QEvent(QEvent::User));
        m_state->posted = true;
    }
    lock.unlock();
    dispose(outdated);
}

void WriteNotifier::dispose(Messenger* messenger) const
{
    if (!messenger)
        return;
    QThread* const home = messenger->thread();
    // The messenger may be delivering further up in this very thread.
    const bool undisturbed = home == QThread::currentThread() && !m_state->readers->emittedHere();
    if (undisturbed || !home || home->isFinished()) {
        delete messenger;
        return;
    }
    auto* const undertaker = new Undertaker(messenger);
    undertaker->moveToThread(home);
    undertaker->deleteLater();
}

} // namespace kel
