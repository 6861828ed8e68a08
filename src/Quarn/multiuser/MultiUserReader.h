#ifndef QUARN_MULTIUSER_MULTIUSERREADER_H
#define QUARN_MULTIUSER_MULTIUSERREADER_H

#include <Quarn/companion/kelmIOCore.h>
#include <Quarn/interfaces/IRandomAccessIO.h>

#include <QIODevice>
#include <QPointer>

#include <boost/shared_ptr.hpp>

#include <memory>

namespace kel {
class MultiUserBuffer;
class ReaderCall;
class ReaderWaits;

/**
 * \brief Reads a MultiUserBuffer while its producer is still writing.
 *
 * Any number of readers may read one buffer, each with its own position. In blocking mode a read
 * that finds nothing waits for new bytes and returns 0 only at the end of the data, which is
 * reached when the producer has closed the buffer; in non-blocking mode it returns at once with
 * what is there. Applications that prefer signals react to readyRead().
 *
 * A reader is a read-only random-access Qt device and a read-only stream. With an address and a size
 * read() is the stream's and counts in int; Qt's, which counts in qint64, is reached by
 * `QIODevice& device = reader;`. Without an address it is Qt's: `reader.read(10)`. A reader is open
 * from construction on and cannot be closed.
 *
 * \par Lines
 * A line read delivers one byte less than Qt's own devices do: pass a \a maxSize of the longest
 * line plus 2. A longer line comes in pieces, by QIODevice::readLine() without a size in pieces
 * of 16383 bytes; the last one ends in a line feed. Only '\\n' ends a line.
 *
 * \par Threads
 * A reader belongs to the thread it lives in; deleteLater() may be called from any. Readers of one
 * buffer may live in different threads. Writes and the closing wake a waiting reader at once,
 * whether the producer runs an event loop or not; only a reader in the buffer's own thread, with a
 * producer in another, hears of writes by the events of that thread, which its waits process.
 * Without a QCoreApplication waits look every 20 ms.
 *
 * \par Waiting
 * Reads and peeks process the events of this thread while they wait, so timers and queued slots run
 * meanwhile. A slot may read from the same reader, and wait again. While a slot of readyRead() runs,
 * readyRead() isn't emitted again, but once after it has returned. A wait goes on, and events with
 * it, when QThread::quit() or QCoreApplication::quit() is called meanwhile: only the producer ends
 * the data. deleteLater() ends the waits that run: reads return what there is, 0 maybe, later ones
 * don't wait, and the reader goes when control returns to the event loop. **A reader must not be
 * deleted in any other way while it waits.**
 *
 * A wait may look for a few microseconds, giving way to other threads, before it sleeps; it does so
 * only where writes have followed each other that quickly.
 *
 * \par Ownership
 * A reader made from a boost::shared_ptr keeps the buffer alive; one made from a plain pointer
 * doesn't, and answers 0 once the buffer is gone, which must happen in the reader's thread.
 */
class QUARN_EXPORT MultiUserReader : public QIODevice,
                                     public virtual kelmIOCore,
                                     public virtual IRandomAccessIO
{
    Q_OBJECT

public:
    /** Reads \a buffer from its beginning; with \a blocking reads wait. The buffer is borrowed. */
    MultiUserReader(MultiUserBuffer* buffer, bool blocking, QObject* parent = nullptr);
    /** The same, and keeps the buffer alive. */
    MultiUserReader(boost::shared_ptr<MultiUserBuffer> buffer, bool blocking,
                    QObject* parent = nullptr);
    ~MultiUserReader() override;

    /** The buffer that is read; null when there never was one or it was destroyed. */
    const MultiUserBuffer* buffer() const;

    using kelmIOCore::read;
    using kelmIOCore::readAll;
    using kelmIOCore::readBlock;
    using kelmIOCore::writeBlock;

    /** Always false. */
    bool isSequential() const override;
    /** Takes any \a mode, and answers whether it was ReadOnly. */
    bool open(OpenMode mode) override;
    /** Does nothing. */
    void close() override;
    /** Bytes written so far; 0 without a buffer. */
    qint64 size() const override;
    /** Accepts any position from 0 on, also beyond the data that is there; false without buffer. */
    bool seek(qint64 position) override;
    /** Whether the producer has closed the buffer and everything was read. */
    bool atEnd() const override;
    /** Same as seek(0). */
    bool reset() override;
    /** What was written behind the position so far; negative if the position is beyond it. */
    qint64 bytesAvailable() const override;
    /** Always -1. */
    qint64 bytesToWrite() const override;
    /** Whether a line feed is there at or behind the position. */
    bool canReadLine() const override;

    /**
     * Waits for the producer's next write, up to \a msecs milliseconds, without limit if
     * negative. Doesn't look at what is there already.
     *
     * \return true when the producer wrote, once for each write at most; false when the time has
     *         passed, the buffer closed or deleteLater() came
     */
    bool waitForReadyRead(int msecs) override;
    /** Always false. */
    bool waitForBytesWritten(int msecs) override;

    /** Like a read, waiting included, but leaves the position where it is. */
    qint64 peek(char* data, qint64 maxSize);
    /** \overload */
    QByteArray peek(qint64 maxSize);

    /**
     * Reads up to \a maxSize bytes and moves on by as many.
     *
     * | Result | Meaning                                                                |
     * |--------|------------------------------------------------------------------------|
     * | > 0    | bytes read, possibly fewer than asked                                  |
     * | 0      | blocking: end of the data, or no buffer; non-blocking: nothing there   |
     * | < 0    | the position is beyond the data                                        |
     */
    int read(void* data, int maxSize) override;
    /** Always 0. */
    int write(const void* data, int size) override;

    // As in QIODevice. Its read() and write() of an address and a size have no place here: a call
    // with an int would fit them as well as the stream's.
    /** Up to \a maxSize bytes; empty where the stream's read() answers 0 or less. */
    QByteArray read(qint64 maxSize);
    /** What is there; of an empty buffer a blocking reader reads up to the end of the data. */
    QByteArray readAll();
    /** Refused with -1, and a warning of Qt. */
    qint64 write(const QByteArray& bytes);
    /** \copydoc write(const QByteArray&) */
    qint64 write(const char* text);

    /** Whether reads return at once instead of waiting. */
    void enableNonBlockingMode(bool enable) override;
    bool nonBlocking() override;
    /** Whether the reader has a buffer. */
    bool readable() override;
    /** Always false. */
    bool writable() override;
    /** Does nothing. */
    void flush() override;
    /** Does nothing. */
    void finishIO() override;
    /** Whether this reader or its buffer has recorded a failure. */
    bool ioFailureDetected() const override;
    /** Same as atEnd(). */
    bool eofEncountered() const override;
    // False, with the arguments untouched; ignored; false, likewise.
    bool getOutputInfo(quint64& first, quint64& second, void** third) const override;
    void setThroughputStats(quint64 first, quint64 second, quint64 third, quint64 fourth) override;
    bool getThroughputStats(quint64& first, quint64& second, quint64& third,
                            quint64& fourth) const override;

    /** Where this reader reads next. */
    qint64 position() const override;
    /** Same as seek(). */
    bool setPosition(qint64 position) override;
    /** Same as size(). */
    qint64 streamSize() const override;

protected Q_SLOTS:
    /** The producer wrote \a count bytes since the last call: ends waits, emits readyRead(). */
    virtual void onBytesWritten(qint64 count);
    /** The producer closes: ends waits. */
    virtual void onBufferClose();

protected:
    bool event(QEvent* event) override;

    qint64 readData(char* data, qint64 maxSize) override;
    qint64 readLineData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 length) override;

private:
    Q_DISABLE_COPY(MultiUserReader)

    void start();
    template <typename Copy>
    void copyWaiting(Copy copy);

    QPointer<MultiUserBuffer> m_buffer;
    boost::shared_ptr<MultiUserBuffer> m_sharedBuffer;
    bool m_blocking;
    bool m_seekExpected; // after a line read QIODevice seeks to where it is
    bool m_readyReadDue; // bytes came since the last emission
    bool m_emittingReadyRead;
    bool m_leaving; // deleteLater() has come to a wait
    std::unique_ptr<ReaderWaits> m_waits; // made by the first one
    const std::shared_ptr<ReaderCall> m_call; // of onBytesWritten()
};

} // namespace kel
#endif
