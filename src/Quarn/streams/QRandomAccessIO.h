#ifndef QUARN_STREAMS_QRANDOMACCESSIO_H
#define QUARN_STREAMS_QRANDOMACCESSIO_H

#include <Quarn/interfaces/IRandomAccessIO.h>

#include <QBuffer>

#include <boost/shared_ptr.hpp>

class kelmBuffer;

namespace kel {

/**
 * \brief A random-access stream over bytes in memory: a QBuffer with the stream interface.
 *
 * Open it with QBuffer::open() before reading or writing.
 *
 * \par Two faces
 * With an address and a size read() and write() are the stream's and count in int; Qt's, which count
 * in qint64, are reached through the device. Without an address they are Qt's:
 *
 *     kel::QRandomAccessIO stream;
 *     stream.open(QIODevice::ReadWrite);
 *     stream.write("first line\n");
 *     stream.setPosition(0);
 *     const QByteArray word = stream.read(5);
 *     QIODevice& device = stream; // Qt's face
 *     device.write(huge, size);
 *
 * \par Results of its own
 * readable() and writable() are always true, ioFailureDetected() always false. readBlock() and
 * writeBlock() answer whether the count of one transfer was not zero: the -1 of a stream that is
 * not open counts as true.
 *
 * \par Threads
 * Belongs to one thread at a time, as a QBuffer. Nothing here blocks.
 */
class QUARN_EXPORT QRandomAccessIO : public QBuffer, public virtual IRandomAccessIO
{
public:
    /** Empty, with bytes of its own; QBuffer::data() gives them. */
    explicit QRandomAccessIO(QObject* parent = nullptr);
    /** Works on the caller's \a bytes, which must outlive the stream. */
    explicit QRandomAccessIO(QByteArray* bytes, QObject* parent = nullptr);
    ~QRandomAccessIO() override;

    /** Reads into \a buffer, which first grows to \a size if it is smaller; never shrinks it. */
    virtual int read(kelmBuffer& buffer, int size);
    /** Whether that read did not answer 0. */
    virtual bool readBlock(kelmBuffer& buffer, int size);

    /**
     * Reads everything left to the start of \a buffer, which grows to it and is never shrunk;
     * the second argument is not used. Returns the number of bytes.
     */
    virtual int readAll(kelmBuffer& buffer, int size);

    /** Everything left in a new buffer, empty at the end; the argument is not used. */
    virtual boost::shared_ptr<kelmBuffer> readAll(int size);

    int read(void* data, int maxSize) override;
    bool readBlock(void* data, int size) override;
    void readAll(std::vector<unsigned char>& data) override;
    int write(const void* data, int size) override;
    bool writeBlock(const void* data, int size) override;

    // As in QIODevice. Its read() and write() of an address and a size have no place here: a call
    // with an int would fit them as well as the stream's.
    /** Up to \a maxSize bytes. */
    QByteArray read(qint64 maxSize);
    /** Everything from the position on. */
    QByteArray readAll();
    /** Writes all of \a bytes; -1 when they can't be. */
    qint64 write(const QByteArray& bytes);
    /** Writes up to the zero byte that ends \a text. */
    qint64 write(const char* text);

    void enableNonBlockingMode(bool enable) override;
    bool nonBlocking() override;
    bool readable() override;
    bool writable() override;
    void flush() override;
    void finishIO() override;
    bool ioFailureDetected() const override;
    bool eofEncountered() const override;
    bool getOutputInfo(quint64& first, quint64& second, void** third) const override;
    void setThroughputStats(quint64 first, quint64 second, quint64 third, quint64 fourth) override;
    bool getThroughputStats(quint64& first, quint64& second, quint64& third,
                            quint64& fourth) const override;

    qint64 position() const override;
    /**
     * Behind the end a writable stream grows, with zero bytes, up to \a position. Without memory
     * for them it stays as and where it is, and false is the answer.
     */
    bool setPosition(qint64 position) override;
    qint64 streamSize() const override;

private:
    Q_DISABLE_COPY(QRandomAccessIO)
};

} // namespace kel
#endif
