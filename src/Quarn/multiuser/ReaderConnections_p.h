#ifndef QUARN_MULTIUSER_READERCONNECTIONS_P_H
#define QUARN_MULTIUSER_READERCONNECTIONS_P_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

class QIODevice;
class QObject;
class QThread;

namespace kel {
class ReaderCall;

/**
 * \brief Connects readers in any thread to a device while another thread emits its signals.
 *
 * QObject::connect() promises that much, but an emission reads the list of connections without a
 * lock, and connect() adds to it, and replaces it, without order. So nobody connects while another
 * thread emits: the reader waits for that, is called directly if signals come meanwhile, and gets
 * connected by the thread that emits last or next. Nobody is blocked, and a slot may take as long
 * as it likes. Disconnecting during an emission is safe but for one thing: the emission looks into
 * Qt's record of the receiver's thread, which must not end before the emission does.
 *
 * All of it may be called from any thread.
 */
class ReaderConnections
{
public:
    enum Signal { BytesWritten, AboutToClose };

    /** Stands around an emission. False if the device is gone: nothing must be emitted then. */
    class Emission
    {
    public:
        Emission(std::shared_ptr<ReaderConnections> connections, Signal signal);
        Emission(const Emission&) = delete;
        Emission& operator=(const Emission&) = delete;
        ~Emission();
        explicit operator bool() const { return m_begun; }

    private:
        const std::shared_ptr<ReaderConnections> m_connections; // the device may end in a slot
        const bool m_begun;
    };

    explicit ReaderConnections(QIODevice* device);
    ReaderConnections(const ReaderConnections&) = delete;
    ReaderConnections& operator=(const ReaderConnections&) = delete;

    /** Connects bytesWritten() of the device to \a call, the others to slots of \a reader. */
    void add(QObject* reader, const std::shared_ptr<ReaderCall>& call);

    /** To be called while the device is sure to be there, and before the reader ends. */
    void remove(QObject* reader);

    /** Whether an emission runs further up in the calling thread. */
    bool emittedHere() const;
    bool deviceLives() const;

    /** Waits for emissions in other threads; there will be no further ones. */
    void deviceEnds();

    /** What a reader without a device gets: the warning of a failed connection. */
    static void connectNothing(QObject* reader);

private:
    struct Waiting
    {
        QObject* reader;
        std::shared_ptr<ReaderCall> call;

        void post(Signal signal) const;
    };

    void connect(const Waiting& waiting);
    bool begin(Signal signal);
    void end();
    bool emittedElsewhere() const;
    void tidy();

    // Guards all below. Qt connects and posts events under it; slots never run under it.
    mutable std::mutex m_mutex;
    std::condition_variable m_emissionEnded;
    QIODevice* m_device; // null once it is being destroyed
    std::vector<QThread*> m_emitters; // one for each running emission, nested ones included
    std::vector<Waiting> m_waiting; // readers that are not connected yet
    std::vector<std::unique_ptr<QObject>> m_keepsakes; // each keeps the record of its thread
};

} // namespace kel
#endif
