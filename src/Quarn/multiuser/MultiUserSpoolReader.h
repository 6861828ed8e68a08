#ifndef QUARN_MULTIUSER_MULTIUSERSPOOLREADER_H
#define QUARN_MULTIUSER_MULTIUSERSPOOLREADER_H

#include <Quarn/companion/kelmIOCore.h>
#include <Quarn/interfaces/IRandomAccessIO.h>
#include <Quarn/multiuser/MultiUserSpoolView.h>

#include <QIODevice>

#include <limits>
#include <memory>

namespace kel {
class MultiUserSpool;
class SpoolReading;

/**
 * \brief Reads a MultiUserSpool while its producer is still writing.
 *
 * A read-only random-access Qt device and a read-only stream, open from construction to destruction.
 * Any number of readers may read one spool, each with its own position; a new one begins at the
 * first byte that is kept. With an address and a size read() is the stream's and counts in int; Qt's
 * is reached through the device: `QIODevice& device = reader;`.
 *
 * \par Results of reads
 * | Result | Meaning                                                                           |
 * |--------|-----------------------------------------------------------------------------------|
 * | > 0    | bytes read, possibly fewer than asked                                             |
 * | 0      | blocking: the end, see atEnd(); non-blocking: the end, or nothing there yet       |
 * | -1     | the stream failed behind this position, bytes couldn't be read back from the disk, or the reader was cancelled: errorString() says which |
 *
 * A failed stream delivers every byte that was accepted first, and is never at its end. So does a
 * reader that was cancelled, but it delivers nothing more.
 *
 * \par Waiting
 * In blocking mode reads wait for at least one byte, on a condition variable: no event loop runs or
 * is needed, and quitting the thread's event loop doesn't end the wait. cancel() does, from any
 * thread.
 *
 * \par Signals
 * As soon as something is connected to readyRead() or readChannelFinished(), both come from the event
 * loop of the reader's thread: readyRead() when there are bytes that none before it stood for, the
 * ones that were there at first included; readChannelFinished() once, when the stream has ended, well
 * or not, or the reader was cancelled. At most one notification is on its way to the reader, and no
 * readyRead() comes from inside another.
 *
 * \par Lines
 * readLine() gives whole lines, as with any Qt device. In blocking mode it waits for the line feed or
 * the end. Only '\\n' ends a line.
 *
 * \par What is passed
 * Under MultiUserSpoolSettings::KeepUnread bytes before the position may be freed, a chunk at a time.
 * The stream's calls, views and seeks pass bytes when they return; Qt's own reads with the next
 * reading call or when the slots of readyRead() have returned, so that QIODevice::peek() works. In a
 * transaction nothing is passed.
 *
 * \par Threads
 * A reader belongs to one thread at a time; the signals come in the one it lives in. cancel(),
 * cancelled(), lag() and firstPosition() may be called from any thread. A reader may be destroyed in
 * another thread while it waits in one read(), for a view or in waitForReadyRead(): that ends as
 * cancelled first. It must not be destroyed while Qt's own calls read, nor in the calls that make
 * several reads, such as readBlock() and readAll(): cancel() ends these, too.
 *
 * \par Ownership
 * A reader shares what was written, not the spool.
 */
class QUARN_EXPORT MultiUserSpoolReader : public QIODevice,
                                          public virtual kelmIOCore,
                                          public virtual IRandomAccessIO
{
    Q_OBJECT

public:
    /** \a spool is needed during this call only. A reader of null fails in each read. */
    MultiUserSpoolReader(const MultiUserSpool* spool, bool blocking, QObject* parent = nullptr);
    ~MultiUserSpoolReader() override;

    /** Ends the wait that runs, if one does, and fails all reads from now on. Any thread. */
    void cancel();
    /** Whether cancel() was called. */
    bool cancelled() const;

    /** Bytes that were written and that this reader hasn't passed. */
    qint64 lag() const;

    /** The first byte that is still kept. It may be passed soon: seek() tells. */
    qint64 firstPosition() const;

    /**
     * The bytes at the position that lie together, up to \a maxSize, without copying those that are
     * in memory. peekView() leaves the position, readView() moves it behind them. They wait as reads
     * do; empty where a read answers 0 or -1, to be told apart by ioFailureDetected().
     */
    MultiUserSpoolView peekView(qint64 maxSize = std::numeric_limits<qint64>::max());
    /** \copydoc peekView() */
    MultiUserSpoolView readView(qint64 maxSize = std::numeric_limits<qint64>::max());

    /** Always false. */
    bool isSequential() const override;
    /** Changes nothing; answers whether \a mode is ReadOnly, alone or with Unbuffered. */
    bool open(OpenMode mode) override;
    /** Does nothing. */
    void close() override;
    /** Bytes written so far, those that aren't kept any more included. */
    qint64 size() const override;
    /**
     * Moves to \a position, at firstPosition() or behind it, also beyond what is written: a blocking
     * read then waits until there is something. False, and nothing moved, when it isn't kept.
     */
    bool seek(qint64 position) override;
    /** seek() to firstPosition(). */
    bool reset() override;
    /** Whether the producer has finished and everything was read. */
    bool atEnd() const override;
    /** What was written behind the position so far. */
    qint64 bytesAvailable() const override;
    /** Always 0. */
    qint64 bytesToWrite() const override;
    /** Whether a line feed was written at or behind the position. */
    bool canReadLine() const override;

    /**
     * Waits until there is a byte to read at the position, up to \a msecs milliseconds, without limit
     * if negative. True if there is; at once if it was there already. False when the time has
     * passed, at the end, and when a read would fail. readyRead() comes from the event loop only.
     */
    bool waitForReadyRead(int msecs) override;
    /** Always false. */
    bool waitForBytesWritten(int msecs) override;

    using kelmIOCore::read;
    using kelmIOCore::readAll;
    using kelmIOCore::readBlock;
    using kelmIOCore::writeBlock;

    int read(void* data, int maxSize) override;
    /** Always 0. */
    int write(const void* data, int size) override;

    /** Up to \a maxSize bytes; waits for the first of them only. */
    QByteArray read(qint64 maxSize);
    /** Everything up to the end; in non-blocking mode what is there. Up to nearly 2 GiB. */
    QByteArray readAll();

    void enableNonBlockingMode(bool enable) override;
    bool nonBlocking() override;
    bool readable() override;
    bool writable() override;
    void flush() override;
    void finishIO() override;
    /** Whether the stream or this reader has failed, or was cancelled. */
    bool ioFailureDetected() const override;
    /** Same as atEnd(). */
    bool eofEncountered() const override;
    bool getOutputInfo(quint64& first, quint64& second, void** third) const override;
    void setThroughputStats(quint64 first, quint64 second, quint64 third, quint64 fourth) override;
    bool getThroughputStats(quint64& first, quint64& second, quint64& third,
                            quint64& fourth) const override;

    qint64 position() const override;
    bool setPosition(qint64 position) override;
    qint64 streamSize() const override;

protected:
    void connectNotify(const QMetaMethod& signal) override;
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 readLineData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 length) override;

private:
    Q_DISABLE_COPY(MultiUserSpoolReader)

    void passed();
    qint64 failed(const QString& reason);
    template <typename Look>
    qint64 waiting(Look look, qint64 ahead = 0);
    MultiUserSpoolView view(qint64 maxSize);
    void notify();

    const std::unique_ptr<SpoolReading> m_reading;
    bool m_blocking;
    mutable qint64 m_lineSearchBegin = 0; // no line feed from here ...
    mutable qint64 m_lineSearchEnd = 0; // ... up to here
    qint64 m_announced = 0; // what the emissions of readyRead() stood for
    bool m_emitting = false;
    bool m_due = false; // a notification came while readyRead() was emitted
    bool m_endAnnounced = false;
};

} // namespace kel
#endif
