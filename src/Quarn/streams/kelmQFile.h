#ifndef QUARN_STREAMS_KELMQFILE_H
#define QUARN_STREAMS_KELMQFILE_H

#include <Quarn/companion/kelmIOCore.h>
#include <Quarn/interfaces/IRandomAccessIO.h>

#include <QFile>

#include <atomic>

namespace kel {

/**
 * \brief A file as a random-access stream: a QFile with the stream interface.
 *
 * The class is abstract: derive from it and supply setThroughputStats(). Open it with
 * QFile::open().
 *
 *     class File : public kel::kelmQFile
 *     {
 *     public:
 *         using kelmQFile::kelmQFile;
 *         void setThroughputStats(quint64, quint64, quint64, quint64) override { }
 *     };
 *
 * \par Two faces
 * With an address and a size read() and write() are the stream's and count in int; Qt's, which count
 * in qint64, are reached through the device, and so is the flush() that answers. Without an address
 * they are Qt's:
 *
 *     File file(path);
 *     file.open(QIODevice::ReadOnly);
 *     file.readBlock(header, sizeof header);
 *     const QByteArray rest = file.readAll();
 *     QFile& device = file; // Qt's face
 *     const qint64 count = device.read(huge, size);
 *
 * \par Blocking mode
 * Off at first. When on, a read that finds nothing although the file is not at its end calls
 * waitForReadyRead() with 5000 ms and tries again, until data comes, the file reaches its end, is
 * closed or removed (renaming is not removing), or blocking is switched off. An ordinary file has its
 * end where its size is, so nothing ever waits. A class for a file that is still being written
 * overrides atEnd(), to tell when nothing more will come, and waitForReadyRead(), to wait for growth;
 * FileStream does.
 *
 * \par Threads
 * Those of QFile, but for enableNonBlockingMode() and nonBlocking(), which may be called from any
 * thread. While waitForReadyRead() runs an event loop, a slot may close the file but must not
 * read, write or open it.
 */
class QUARN_EXPORT kelmQFile : public QFile,
                               public virtual kelmIOCore,
                               public virtual IRandomAccessIO
{
    Q_OBJECT

public:
    /** For the file \a name, which isn't opened yet. */
    explicit kelmQFile(const QString& name);
    /** For a file that QFile::setFileName() names. */
    explicit kelmQFile(QObject* parent);
    /** For the file \a name, which isn't opened yet. */
    kelmQFile(const QString& name, QObject* parent);
    ~kelmQFile() override;

    using kelmIOCore::read;
    using kelmIOCore::readAll;
    using kelmIOCore::readBlock;
    using kelmIOCore::writeBlock;

    /** Also right in the middle of a read, when QFile counts the room for the data as data. */
    bool atEnd() const override;

    using QFile::open;
    /**
     * As QFile::open(); refused while a read of this file waits, for a name with a zero character, and
     * when the system doesn't tell whether this is a regular file.
     */
    bool open(OpenMode mode) override;

    /**
     * As QFile::close(). While a read of this file waits, it ends that read, and the file is
     * closed right after it: before read() returns, or from the event loop when Qt's own read was
     * called.
     */
    void close() override;

    /**
     * As QFile::seek(). After a failure reads and writes would go to the old place: they fail, and
     * ioFailureDetected() is true, until a seek succeeds. A pipe, which has no places, goes on.
     */
    bool seek(qint64 position) override;

    int read(void* data, int maxSize) override;
    int write(const void* data, int size) override;

    // As in QIODevice. Its read() and write() of an address and a size have no place here: a call
    // with an int would fit them as well as the stream's.
    /** Up to \a maxSize bytes. */
    QByteArray read(qint64 maxSize);
    /** Everything from the position on. */
    QByteArray readAll();
    /** Writes \a bytes; -1 on failure. */
    qint64 write(const QByteArray& bytes);
    /** Writes up to the zero byte that ends \a text. */
    qint64 write(const char* text);

    void enableNonBlockingMode(bool enable) override;
    bool nonBlocking() override;
    bool readable() override;
    bool writable() override;
    void flush() override;
    /**
     * Closes the file, which forgets failures before: ask ioFailureDetected() first. Afterwards it
     * tells of a failure of the closing itself, such as that of a buffered write.
     */
    void finishIO() override;
    /** True after a file error, after a failed seek(), or once an error string was set. */
    bool ioFailureDetected() const override;
    /** Whether the position is at the size or behind it; always so for a pipe. */
    bool eofEncountered() const override;
    bool getOutputInfo(quint64& first, quint64& second, void** third) const override;
    bool getThroughputStats(quint64& first, quint64& second, quint64& third,
                            quint64& fourth) const override;

    qint64 position() const override;
    /** Calls seek(), which asks nothing of the system when the file is there already. */
    bool setPosition(qint64 position) override;
    qint64 streamSize() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 readLineData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    Q_DISABLE_COPY(kelmQFile)

    template <typename Attempt>
    qint64 readWaiting(Attempt attempt);
    template <typename Attempt>
    qint64 repeatWaiting(Attempt attempt);
    bool removed() const;
    void finishClosing();

    std::atomic<bool> m_blocking;
    int m_runningReads; // readLineData() reads through readData()
    qint64 m_lastCount; // what the file answered to the last attempt of a running read
    bool m_closeRequested; // by a slot that ran while a read waited
    bool m_removed; // found by a running read
    bool m_misplaced; // since a seek failed
    bool m_keepsPlace; // nobody else moves the place in this file: it was opened here by its name
    bool m_mayStay; // seek() was called by setPosition()
};

} // namespace kel
#endif
