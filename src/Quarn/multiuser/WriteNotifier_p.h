#ifndef QUARN_MULTIUSER_WRITENOTIFIER_P_H
#define QUARN_MULTIUSER_WRITENOTIFIER_P_H

#include <QtGlobal>

#include <memory>

class QIODevice;

namespace kel {
class ReaderConnections;

/**
 * \brief Emits a device's bytesWritten() and readyRead() from the event loop of its thread.
 *
 * Stands in for what QBuffer does itself, which misses notifications: QBuffer counts its
 * connections without a lock, drops the count to 0 at a wildcard disconnect, and marks the
 * notification as delivered only after it was emitted, so that a write from another thread in
 * between is told to nobody.
 *
 * Every bytesWritten() call is followed by an emission that begins after the bytes were counted; one
 * emission may stand for several calls. The device may be destroyed in any thread: the destructor of
 * the notifier waits for an emission that runs in another one. Without memory for a notification the
 * next call makes up for it.
 */
class WriteNotifier
{
public:
    WriteNotifier(QIODevice* device, std::shared_ptr<ReaderConnections> readers);
    WriteNotifier(const WriteNotifier&) = delete;
    WriteNotifier& operator=(const WriteNotifier&) = delete;
    ~WriteNotifier();

    /**
     * Tells the readers in other threads of \a count bytes that are in, and adds them to the next
     * emission. Any thread; never blocks for long, and runs no slot.
     */
    void bytesWritten(qint64 count) noexcept;

    /** Takes a pending emission along; call it when the device is about to change its thread. */
    void deviceMoves() noexcept;

private:
    struct State;
    class Messenger;

    void post() noexcept;
    void dispose(Messenger* messenger) const noexcept;

    QIODevice* const m_device;
    const std::shared_ptr<State> m_state;
};

} // namespace kel
#endif
