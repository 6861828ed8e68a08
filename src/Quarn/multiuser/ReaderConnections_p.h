#ifndef QUARN_MULTIUSER_READERCONNECTIONS_P_H
#define QUARN_MULTIUSER_READERCONNECTIONS_P_H

#include <Quarn/multiuser/WriteProgress_p.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class QIODevice;
class QObject;
class QThread;

namespace kel {
class ReaderCall;

/**
 * \brief The readers of a device: tells them of writes, and connects them to the device's signals.
 *
 * Readers come and go in any thread while another thread emits. QObject::connect() promises that
 * much, but an emission reads the list of connections without a lock, and connect() adds to it, and
 * replaces it, without order. So nobody connects while another thread emits: the reader waits for
 * that, is called directly if signals come meanwhile, and gets connected by the thread that emits
 * last or next. Nobody is blocked, and a slot may take as long as it likes. Disconnecting during an
 * emission is safe but for one thing: the emission looks into Qt's record of the receiver's thread,
 * which must not end before the emission does.
 *
 * All of it may be called from any thread.
 */
class ReaderConnections
{
public:
    enum Signal { BytesWritten, AboutToClose };

    /** Stands around an emission. Throws std::bad_alloc; then nothing has begun. */
    class Emission
    {
    public:
        Emission(std::shared_ptr<ReaderConnections> connections, Signal signal);
        Emission(const Emission&) = delete;
        Emission& operator=(const Emission&) = delete;
        ~Emission();

        /** What was written since the last one; negative if the device is gone: don't emit then. */
        qint64 count() const { return m_count; }

    private:
        const std::shared_ptr<ReaderConnections> m_connections; // the device may end in a slot
        const qint64 m_count;
    };

    explicit ReaderConnections(QIODevice* device);
    ReaderConnections(const ReaderConnections&) = delete;
    ReaderConnections& operator=(const ReaderConnections&) = delete;

    /** Connects bytesWritten() of the device to \a call, aboutToClose() to \a closed of \a reader. */
    void add(QObject* reader, const std::shared_ptr<ReaderCall>& call,
             std::function<void()> closed);

    /**
     * To be called while the device is sure to be there, and before the reader ends. Takes what
     * ReaderCall::readerEnds() returned.
     */
    void remove(QObject* reader, std::unique_ptr<QObject> keepsake);

    /** Tells readers in other threads than the device's of \a count bytes that are in. Never throws. */
    void written(qint64 count);

    /** Whether an emission runs further up in the calling thread. */
    bool emittedHere() const;
    bool deviceLives() const;

    /** Waits for emissions in other threads; there will be no further ones. */
    void deviceEnds();

    /** What a reader without a device gets: the warning of a failed connection. */
    static void connectNothing(QObject* reader);

private:
    struct Reader
    {
        // Null once it was disconnected. Other threads call nothing virtual of it, metaObject() included:
        // the constructor of a derived class may still be running in the reader's own.
        QObject* reader;
        std::shared_ptr<ReaderCall> call; // null once it ends
        std::function<void()> closed; // to be called in the reader's thread
        bool connected;
        std::unique_ptr<QObject> keepsake; // keeps the record of its thread

        void post(Signal signal) const; // never throws
    };

    std::vector<Reader>::iterator find(const QObject* reader);
    void connect(Reader& reader);
    qint64 begin(Signal signal);
    void end();
    bool emittedElsewhere() const;
    void tidy();

    const std::shared_ptr<WriteProgress> m_progress;
    // Guards all below. Qt connects and posts events under it; slots never run under it.
    mutable std::mutex m_mutex;
    std::condition_variable m_emissionEnded;
    QIODevice* m_device; // null once it is being destroyed
    std::vector<QThread*> m_emitters; // one for each running emission, nested ones included
    std::vector<Reader> m_readers; // those that can't be forgotten yet included
};

} // namespace kel
#endif
