#include <Quarn/multiuser/WriteNotifier_p.h>

#include <Quarn/multiuser/ReaderConnections_p.h>
#include <Quarn/multiuser/Undertaker_p.h>

#include <QCoreApplication>
#include <QEvent>
#include <QIODevice>
#include <QThread>

#include <atomic>
#include <mutex>
#include <new>
#include <utility>

namespace kel {
struct WriteNotifier::State
{
    State(QIODevice* emitter, std::shared_ptr<ReaderConnections> connections)
        : device(emitter), readers(std::move(connections))
    { }

    QIODevice* const device; // to be used in an emission that the readers' connections let begin
    const std::shared_ptr<ReaderConnections> readers;
    std::mutex mutex; // guards what follows, also while Qt posts to it; a leaf otherwise
    Messenger* messenger = nullptr; // made by the first write
};

/**
 * Lives in the device's thread and receives the posted events there. The device itself cannot: it
 * may be destroyed by its last reader in another thread while an event for it is being delivered.
 */
class WriteNotifier::Messenger : public QObject
{
    using Flag = std::shared_ptr<std::atomic<bool>>;

    /** The posted event. One that is never delivered must not hold back later ones. */
    class Errand : public QEvent
    {
    public:
        explicit Errand(Flag onItsWay) : QEvent(QEvent::User), m_onItsWay(std::move(onItsWay)) { }
        ~Errand() override { end(); }

        void end()
        {
            if (const Flag onItsWay = std::exchange(m_onItsWay, nullptr))
                *onItsWay = false;
        }

    private:
        Flag m_onItsWay;
    };

public:
    explicit Messenger(std::shared_ptr<State> state) : m_state(std::move(state)) { }

    /** Has event() called. Throws std::bad_alloc. */
    void send()
    {
        auto errand = std::make_unique<Errand>(m_posted);
        *m_posted = true;
        QCoreApplication::postEvent(this, errand.release());
    }

    /** Whether an errand is on its way; to be asked with the lock. */
    bool posted() const { return *m_posted; }

protected:
    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        std::unique_lock<std::mutex> lock(m_state->mutex);
        // Before the emission begins, so that a write from now on is followed by one of its own,
        // which readers that come from now on get too.
        static_cast<Errand*>(event)->end();
        const bool current = m_state->messenger == this; // and the device is still there
        if (current && m_state->device->thread() != thread()) {
            follow(); // made before the device moved
            return true;
        }
        lock.unlock();
        if (current)
            deliver(m_state); // a copy: the slots may end the device, and this messenger with it
        return true;
    }

private:
    void follow()
    {
        try {
            moveToThread(m_state->device->thread());
            send();
        } catch (const std::bad_alloc&) {
            return; // the next write makes up for it
        }
    }

    static void deliver(std::shared_ptr<State> state)
    {
        try {
            const ReaderConnections::Emission emission(state->readers,
                                                       ReaderConnections::BytesWritten);
            if (emission.count() <= 0)
                return;
            Q_EMIT state->device->bytesWritten(emission.count());
            if (state->readers->deviceLives())
                Q_EMIT state->device->readyRead();
        } catch (const std::bad_alloc&) {
            return; // of the call to a receiver, say; the next write makes up for it
        }
    }

    const std::shared_ptr<State> m_state;
    const Flag m_posted = std::make_shared<std::atomic<bool>>(false);
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

void WriteNotifier::bytesWritten(qint64 count) noexcept
{
    if (count <= 0)
        return;
    m_state->readers->written(count); // first: these sleep, and the emission takes a while
    post();
}

void WriteNotifier::deviceMoves() noexcept
{
    std::unique_lock<std::mutex> lock(m_state->mutex);
    Messenger* const messenger = std::exchange(m_state->messenger, nullptr);
    const bool pending = messenger && messenger->posted();
    lock.unlock();
    dispose(messenger);
    if (!pending)
        return;
    try { // events posted to the device go with it
        QMetaObject::invokeMethod(
            m_device, [this] { post(); }, Qt::QueuedConnection);
    } catch (const std::bad_alloc&) {
        return; // the next write posts
    }
}

/** Has the emission of what was written come, unless it is on its way. */
void WriteNotifier::post() noexcept
{
    std::unique_lock<std::mutex> lock(m_state->mutex);
    QThread* const home = m_device->thread();
    Messenger* outdated = nullptr;
    // Made by a write from another thread after deviceMoves(), but before the device did?
    if (m_state->messenger && m_state->messenger->thread() != home)
        outdated = std::exchange(m_state->messenger, nullptr);
    try {
        if (!m_state->messenger) {
            auto messenger = std::make_unique<Messenger>(m_state);
            messenger->moveToThread(home);
            m_state->messenger = messenger.release();
        }
        if (!m_state->messenger->posted())
            m_state->messenger->send();
    } catch (const std::bad_alloc&) {
        // the next write makes up for it
    }
    lock.unlock();
    dispose(outdated);
}

void WriteNotifier::dispose(Messenger* messenger) const noexcept
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
    try {
        auto undertaker = std::make_unique<Undertaker>(messenger);
        undertaker->moveToThread(home);
        undertaker.release()->deleteLater();
    } catch (const std::bad_alloc&) {
        return; // it stays; to delete it here might take it from under an event of its thread
    }
}

} // namespace kel
