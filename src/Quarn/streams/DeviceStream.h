#ifndef QUARN_STREAMS_DEVICESTREAM_H
#define QUARN_STREAMS_DEVICESTREAM_H

#include <Quarn/streams/RandomAccessStream.h>

#include <QPointer>
#include <QString>

#include <atomic>
#include <memory>

QT_BEGIN_NAMESPACE
class QIODevice;
QT_END_NAMESPACE

namespace kel {

/**
 * \brief Any Qt device as a stream: a socket, a network reply, a process, a resource.
 *
 * The device is opened, connected or started by who made it, and may be read and written by others
 * too; reads and writes go through its buffers.
 *
 * | Result of read() | Meaning                                                                  |
 * |------------------|--------------------------------------------------------------------------|
 * | > 0              | bytes read, possibly fewer than asked                                    |
 * | 0                | the end; non-blocking: nothing there yet, see eofEncountered(); or the device isn't open for reading |
 * | < 0              | the device failed or is gone, or the last setPosition() failed           |
 *
 * A connection that the other side has closed, a process that has exited and a reply that is complete
 * are at their end, which is no failure; one that broke has failed.
 *
 * \par Devices without positions
 * A sequential device has no places. Its position() is the number of bytes that this stream has
 * transferred, setPosition() to anywhere else fails, and so do reads and writes until one to there
 * succeeds: a copy in order goes on, one that would garble the bytes doesn't. streamSize() is -1, so
 * that a copy of negative length goes up to the end.
 *
 * \par Waiting
 * Blocking mode is on at first and concerns sequential devices. A read waits for a byte or the end. A
 * write waits while more than 1 MiB is unsent, and flush() for all of it; without blocking both leave
 * everything to the device, whose buffers grow. Waits are those of the device, its
 * waitForReadyRead() and waitForBytesWritten(), by 5000 ms; where it has none, as a network reply, a
 * local event loop runs: timers and slots of this thread meanwhile may close or delete the device, but
 * not delete the stream or use it. Switching blocking off ends a wait after such a slice.
 *
 * \par Threads
 * That of the device. Only enableNonBlockingMode() and nonBlocking() may be called from any.
 *
 * \par Ownership
 * A plain pointer is borrowed. When the device is deleted, by whomever, the stream has failed.
 */
class QUARN_EXPORT DeviceStream : public RandomAccessStream
{
public:
    /** Borrows the device; null stands for one that is gone. */
    explicit DeviceStream(QIODevice* device);
    /** Deletes the device with the stream. */
    explicit DeviceStream(std::unique_ptr<QIODevice> device);
    ~DeviceStream() override;

    /** Null once the device is gone. */
    QIODevice* device() const;

    using RandomAccessStream::read;

    int read(void* data, int maxSize) override;
    /** May take more than the device can send at once: it keeps the rest, see bytesToWrite(). */
    int write(const void* data, int size) override;

    void enableNonBlockingMode(bool enable) override;
    bool nonBlocking() override;
    bool readable() override;
    bool writable() override;
    void flush() override;
    /**
     * Flushes and closes the device; of a process, just its input, so that it comes to its end. A
     * QSaveFile stays open, for the commit() of who made it.
     */
    void finishIO() override;
    bool ioFailureDetected() const override;
    /** Of a sequential device only after a read has found the end. */
    bool eofEncountered() const override;

    qint64 position() const override;
    bool setPosition(qint64 position) override;
    qint64 streamSize() const override;

private:
    class Waits;

    int readWaiting(char* data, int maxSize);
    bool waitUntilSent(qint64 mostUnsent);
    bool isSequential() const;
    bool hasFailed() const;

    const QPointer<QIODevice> m_device;
    const bool m_owned;
    std::atomic<bool> m_blocking;
    qint64 m_transferred; // the position in a sequential device
    bool m_misplaced; // since setPosition() failed
    QString m_timeOut; // what the device says of a wait that took too long, which is no failure
    bool m_ended; // a read of a sequential device has found its end
};

} // namespace kel
#endif
