#ifndef QUARN_MULTIUSER_MULTIUSERSPOOL_H
#define QUARN_MULTIUSER_MULTIUSERSPOOL_H

#include <Quarn/companion/kelmIOCore.h>
#include <Quarn/interfaces/IRandomAccessIO.h>
#include <Quarn/multiuser/MultiUserSpoolFigures.h>
#include <Quarn/multiuser/MultiUserSpoolSettings.h>

#include <QIODevice>

#include <boost/shared_ptr.hpp>

#include <memory>

namespace kel {
class SpoolStore;

/**
 * \brief A stream of any length that one producer writes while any number of readers read it.
 *
 * Readers are MultiUserSpoolReader objects, each with its own position; those made late begin at the
 * first byte that is still kept. Memory stays within a limit: beyond it older bytes go to disk, or
 * the producer is held back or refused, see MultiUserSpoolSettings. Nobody needs an event loop.
 *
 *     boost::shared_ptr<kel::MultiUserSpool> spool(new kel::MultiUserSpool);
 *     // consumer, in its own thread:
 *     auto reader = kel::MultiUserSpool::createReaderInterface(spool, true);
 *     // producer:
 *     spool->writeBlock(data, size);
 *     spool->finishIO();
 *
 * For the producer the spool is a write-only sequential Qt device and a write-only stream, open from
 * construction on. With an address and a size write() is the stream's and counts in int; Qt's, which
 * counts in qint64, is reached through the device: `QIODevice& device = *spool;`.
 *
 * \par How a stream ends
 * | What happens                                  | What readers get after the last byte         |
 * |-----------------------------------------------|----------------------------------------------|
 * | finishIO(), close()                           | the end                                      |
 * | setErrorString(), cancel()                    | a failure with that reason                   |
 * | a full disk, no memory, an unusable folder    | a failure with that reason; the write tells it too |
 * | the spool is destroyed without one of these   | a failure                                    |
 *
 * The first of these decides, and nothing is written after it.
 *
 * \par Results of write()
 * | Result        | Meaning                                                                    |
 * |---------------|----------------------------------------------------------------------------|
 * | all bytes     | accepted: each reader gets them                                            |
 * | fewer         | the stream has failed, or a held-back write was refused, behind these bytes |
 * | -1            | nothing was taken; errorString() says why                                  |
 *
 * A refused write (see MultiUserSpoolSettings::AtLimit) is no failure: ioFailureDetected() stays
 * false, readers don't notice, and a later write may succeed.
 *
 * \par Threads
 * One thread at a time is the producer: it writes, closes, and calls what Qt declares.
 * createReaderInterface(), cancel(), figures(), firstPosition(), writable(), eofEncountered(),
 * ioFailureDetected(), position() and streamSize() may be called from any thread, and readers may be
 * made, used and destroyed in any threads while the producer writes. No signals come but
 * aboutToClose(), from inside close().
 *
 * \par Ownership
 * Readers share what was written, not the spool: it may be destroyed before them, in any thread.
 * Memory and the spilled file go with the last of spool, readers and views; the file has no name (on
 * Windows it is deleted when closed), is readable by the owner only, and doesn't outlive a crash.
 */
class QUARN_EXPORT MultiUserSpool : public QIODevice,
                                    public virtual kelmIOCore,
                                    public virtual IRandomAccessIO
{
    Q_OBJECT

public:
    /** Given at the construction. */
    using Settings = MultiUserSpoolSettings;
    /** Told at any moment. */
    using Figures = MultiUserSpoolFigures;

    /** A spool with the default settings. */
    explicit MultiUserSpool(QObject* parent = nullptr);
    /** A spool with \a settings, of which it keeps a copy. */
    explicit MultiUserSpool(const Settings& settings, QObject* parent = nullptr);
    ~MultiUserSpool() override;

    /**
     * A new reader of \a spool that lives in the calling thread and begins at firstPosition(). With
     * \a blocking its reads wait for data. The result owns the reader, a MultiUserSpoolReader.
     */
    static boost::shared_ptr<IRandomAccessIO>
    createReaderInterface(boost::shared_ptr<MultiUserSpool> spool, bool blocking);

    /** What is held at the moment. */
    Figures figures() const;

    /** The first byte that is still kept, where a new reader begins: the start of a chunk. */
    qint64 firstPosition() const;

    /**
     * Ends the stream as failed. A write that is held back returns at once, further ones fail.
     * Any thread.
     */
    void cancel();

    /**
     * Ends the stream as failed with the reason \a text. Empty, or Qt's "Unknown error", is no
     * reason and does nothing. Any thread.
     */
    void setErrorString(const QString& text);

    /** Always true. */
    bool isSequential() const override;
    /** Always false: a spool is open from the beginning and stays closed once it is. */
    bool open(OpenMode mode) override;
    /** Declares the stream complete. A failure before that remains one. */
    void close() override;
    /** Bytes written so far. */
    qint64 size() const override;

    using kelmIOCore::read;
    using kelmIOCore::readAll;
    using kelmIOCore::readBlock;
    using kelmIOCore::writeBlock;

    /** Always 0. */
    int read(void* data, int maxSize) override;
    /** Blocks while the producer is held back, and while a chunk goes to the disk. */
    int write(const void* data, int size) override;

    /** The same for all of \a bytes. */
    qint64 write(const QByteArray& bytes);
    /** Writes up to the zero byte that ends \a text. */
    qint64 write(const char* text);

    /** Ignored; always true. */
    void enableNonBlockingMode(bool enable) override;
    bool nonBlocking() override;
    bool readable() override;
    /** Whether the stream hasn't ended. */
    bool writable() override;
    void flush() override;
    /** Same as close(). */
    void finishIO() override;
    /** Whether the stream has failed. */
    bool ioFailureDetected() const override;
    /** Whether the stream has ended, well or not. */
    bool eofEncountered() const override;
    bool getOutputInfo(quint64& first, quint64& second, void** third) const override;
    void setThroughputStats(quint64 first, quint64 second, quint64 third, quint64 fourth) override;
    bool getThroughputStats(quint64& first, quint64& second, quint64& third,
                            quint64& fourth) const override;

    /** Bytes written so far. */
    qint64 position() const override;
    /** Whether \a position is where the stream is already. */
    bool setPosition(qint64 position) override;
    qint64 streamSize() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 length) override;

private:
    Q_DISABLE_COPY(MultiUserSpool)
    friend class MultiUserSpoolReader;

    const std::shared_ptr<SpoolStore> m_store;
};

} // namespace kel
#endif
