#ifndef QUARN_MULTIUSER_MULTIUSERBUFFER_H
#define QUARN_MULTIUSER_MULTIUSERBUFFER_H

#include <Quarn/companion/kelmIOCore.h>
#include <Quarn/interfaces/IRandomAccessIO.h>

#include <QBuffer>
#include <QRecursiveMutex>

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <memory>

namespace kel {
class MultiUserReader;
class ReaderConnections;
class WriteNotifier;

/**
 * \brief A growing buffer that one producer writes while any number of readers read it.
 *
 * Readers are MultiUserReader objects, each with its own position. They reach their end when the
 * producer has closed the buffer; the contents stay readable after that.
 *
 *     boost::shared_ptr<kel::MultiUserBuffer> buffer(new kel::MultiUserBuffer);
 *     // consumer, in its own thread:
 *     auto reader = kel::MultiUserBuffer::createReaderInterface(buffer, true);
 *     // producer:
 *     buffer->writeBlock(data, size);
 *     buffer->finishIO();
 *
 * For the producer the buffer is a write-only Qt device and a write-only stream. With an address and
 * a size write() is the stream's and counts in int; Qt's, which counts in qint64, is reached by
 * `QIODevice& device = *buffer;`. Without them it is Qt's: `buffer->write("text")`.
 *
 * \par Threads
 * One thread at a time is the producer: it calls open(), write(), seek(), reset(), close() and
 * everything else that Qt declares. writable(), eofEncountered(), streamSize() and
 * ioFailureDetected() may be called from any thread, and readers may live in any thread.
 *
 * \par Notifications
 * A write itself wakes the readers in other threads than the buffer's, each by at most one event
 * that is on its way; the producer needs no event loop for it. bytesWritten() and readyRead(), and
 * by them the readers in the buffer's thread, come from the event loop of the thread that the buffer
 * lives in, after the write, whichever thread wrote; one emission may stand for several writes. No
 * slot runs in a write. aboutToClose() comes from inside close(), with the buffer locked. Where there
 * is no memory for a notification, the next write makes up for it.
 *
 * Readers may be made and destroyed at any time. Other objects are to be connected before the
 * producer starts, unless they live in the buffer's thread: a connection that is made while another
 * thread emits is a race inside Qt. `buffer->disconnect()` takes the readers' connections too: those
 * in the buffer's thread hear no more of writes, none of them of the closing.
 *
 * \par Slots
 * A slot that is connected directly must not wait for another thread that reads the buffer or gives
 * up its share in it, and must not read from a blocking reader until the end of the data.
 *
 * \par Ownership
 * Readers made from a boost::shared_ptr keep the buffer alive, and the last one may destroy it in
 * its own thread. A buffer destroyed while it is open doesn't tell its readers.
 *
 * \par Limits
 * The contents hold just under 2 GiB. A write beyond that, or beyond memory, is refused with -1
 * and recorded as a failure. The contents are to be changed through this class alone:
 * QBuffer::setData(), setBuffer() and buffer() go behind the readers' backs.
 */
class QUARN_EXPORT MultiUserBuffer : public QBuffer,
                                     public virtual kelmIOCore,
                                     public virtual IRandomAccessIO
{
    Q_OBJECT

public:
    /** An empty buffer, open for writing. */
    explicit MultiUserBuffer(QObject* parent = nullptr);

    /**
     * Uses the caller's \a byteArray in place, which must outlive the buffer. Open for writing
     * from position 0: the first writes replace what the array holds.
     */
    explicit MultiUserBuffer(QByteArray* byteArray, QObject* parent = nullptr);

    /** Finished contents, a copy of \a data. The buffer starts closed. */
    explicit MultiUserBuffer(const QByteArray& data, QObject* parent = nullptr);

    /** A copy of \a size bytes at \a data, open for writing from position 0. */
    MultiUserBuffer(const char* data, int size, QObject* parent = nullptr);

    ~MultiUserBuffer() override;

    /**
     * A new reader of \a buffer that lives in the calling thread and shares the ownership of the
     * buffer. With \a blocking its reads wait for data. The result owns the reader.
     */
    static boost::shared_ptr<IRandomAccessIO>
    createReaderInterface(boost::shared_ptr<MultiUserBuffer> buffer, bool blocking);

    using kelmIOCore::read;
    using kelmIOCore::readAll;
    using kelmIOCore::readBlock;
    using kelmIOCore::writeBlock;

    /** Opens for writing from position 0; any mode but exactly WriteOnly is refused. */
    bool open(OpenMode mode) override;

    /** Declares the contents complete. A failure recorded before stays recorded. */
    void close() override;

    /**
     * Moves the producer's position. Behind the end the gap is filled with zeroes, which readers get
     * like other bytes; false, with nothing changed, beyond the limit or without memory for it.
     */
    bool seek(qint64 position) override;
    /** Same as seek(0). */
    bool reset() override;
    /** Bytes that readers can get now. Any thread. */
    qint64 size() const override;

    /** Always false; readers have canReadLine() of their own. */
    bool canReadLine() const override;

    /**
     * Records a failure of the producer: from now on ioFailureDetected() is true here and in
     * every reader. The producer may call it at any time; open() forgets it.
     */
    void setErrorString(const QString& text);

    /** Always 0. */
    int read(void* data, int maxSize) override;
    /**
     * Writes \a size bytes at the producer's position, over what is there or behind it, and wakes
     * readers. Never blocks for longer than copies take.
     *
     * \return \a size, or -1 if nothing was written: the buffer is closed, full, or out of memory
     */
    int write(const void* data, int size) override;

    // As in QIODevice. Its read() and write() of an address and a size have no place here: a call
    // with an int would fit them as well as the stream's.
    /** Nothing, and a warning of Qt; readers have read() and readAll() of their own. */
    QByteArray read(qint64 maxSize);
    /** \copydoc read(qint64) */
    QByteArray readAll();
    /** All of \a bytes or, with -1, nothing, as write(const void*, int). */
    qint64 write(const QByteArray& bytes);
    /** Writes up to the zero byte that ends \a text. */
    qint64 write(const char* text);

    /** Ignored: writes never wait. */
    void enableNonBlockingMode(bool enable) override;
    /** Always true. */
    bool nonBlocking() override;
    /** Always false. */
    bool readable() override;
    /** Whether the buffer is open. */
    bool writable() override;
    /** Does nothing. */
    void flush() override;
    /** Same as close(). */
    void finishIO() override;
    /** Whether a write failed while open, or setErrorString() recorded a failure since open(). */
    bool ioFailureDetected() const override;
    /** Whether the buffer is closed. */
    bool eofEncountered() const override;
    // False, with the arguments untouched; ignored; false, likewise.
    bool getOutputInfo(quint64& first, quint64& second, void** third) const override;
    void setThroughputStats(quint64 first, quint64 second, quint64 third, quint64 fourth) override;
    bool getThroughputStats(quint64& first, quint64& second, quint64& third,
                            quint64& fourth) const override;

    /** Where the producer writes next. */
    qint64 position() const override;
    /** Same as seek(). */
    bool setPosition(qint64 position) override;
    /** Same as size(). */
    qint64 streamSize() const override;

protected:
    friend class MultiUserReader;

    bool event(QEvent* event) override;
    void connectNotify(const QMetaMethod& signal) override;
    void disconnectNotify(const QMetaMethod& signal) override;

    qint64 readData(char* data, qint64 maxSize) override;
    qint64 readLineData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 length) override;

    // For readers, in any thread. A negative position has nothing: -1, or an empty array.

    /** Index of the first line feed at or after \a position, or -1. */
    qint64 findLineBreak(qint64 position) const;
    /** Whether there is one. */
    bool canReadLine(qint64 position) const;

    /** Copies up to \a maxSize bytes from \a position on; negative beyond the end. */
    qint64 readData(qint64 position, char* data, qint64 maxSize) const;
    /** \overload */
    QByteArray readData(qint64 position, qint64 maxSize) const;

    /**
     * Copies the bytes from \a position up to and including the next line feed, or to the end of
     * the data, \a maxSize - 1 at most, and a zero byte behind them, which is not counted.
     */
    qint64 readLineData(qint64 position, char* data, qint64 maxSize) const;

private:
    Q_DISABLE_COPY(MultiUserBuffer)

    qint64 writeLocked(const char* data, qint64 length);
    bool fillUpTo(int size);
    qint64 refuseWrite(const QString& reason);

    mutable QRecursiveMutex m_lock; // guards the byte array
    std::atomic<qint64> m_size; // of the byte array, for those without the lock
    std::atomic<bool> m_open; // set to false after m_size got its last value
    mutable QMutex m_errorMutex; // guards m_errorText; a leaf, nothing is emitted under it
    QString m_errorText; // what setErrorString() recorded
    const std::shared_ptr<ReaderConnections> m_readers;
    std::unique_ptr<WriteNotifier> m_notifier;
};

} // namespace kel
#endif
