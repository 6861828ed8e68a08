#include "support/spellings.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

using namespace kel;

namespace {

/** The reader with the operations that Qt calls in the open. */
class Reader : public MultiUserReader
{
public:
    using MultiUserReader::MultiUserReader;
    using MultiUserReader::readData, MultiUserReader::readLineData, QIODevice::setErrorString;

    bool waitForReadyRead(int) override { return ++waits, false; }
    static inline int waits = 0;
};

static_assert(keepsEverySpelling<Reader>);

} // namespace

/** Readers that find what they read, or have nothing to wait for. */
class MultiUserReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QCOMPARE(Reader::waits, 0); }

    void readsWhatIsThere()
    {
        MultiUserBuffer buffer;
        Reader reader(&buffer, false);
        Reader other(&buffer, false);
        char data[10] = {};
        QVERIFY(reader.read(data, 10) == 0 && !reader.atEnd() && reader.bytesAvailable() == 0);
        QVERIFY(buffer.writeBlock("hello", 5));
        QVERIFY(reader.bytesAvailable() == 5 && reader.peek(2) == "he"
                && reader.peek(data, 3) == 3);
        QCOMPARE(reader.read(data, 10), 5);
        QCOMPARE(QByteArray(data), QByteArray("hello"));
        QVERIFY(reader.read(data, 10) == 0 && reader.peek(1).isEmpty() && !reader.atEnd());
        QCOMPARE(other.position(), qint64(0));
        QVERIFY(reader.write("x", 1) == 0 && reader.bytesToWrite() == -1);
        reader.finishIO();
        reader.close();
        QVERIFY(reader.isOpen() && reader.readable() && !buffer.eofEncountered());
        reader.setErrorString(QStringLiteral("mine"));
        QVERIFY(reader.ioFailureDetected() && !other.ioFailureDetected());
        QVERIFY(!buffer.ioFailureDetected());
        buffer.setErrorString(QStringLiteral("the producer's"));
        QVERIFY(other.ioFailureDetected());
    }

    void endsWhenTheProducerCloses()
    {
        for (const bool blocking : {false, true}) {
            MultiUserBuffer buffer("0123456789", 10);
            Reader reader(&buffer, blocking);
            char data[10];
            QVERIFY(reader.seek(10)); // who asks for nothing doesn't wait
            QVERIFY(reader.read(data, 0) == 0 && reader.readBlock(data, 0)
                    && reader.peek(0).isEmpty());
            QVERIFY(reader.readData(data, 0) == 0 && reader.readLineData(data, 1) == 0);
            QCOMPARE(static_cast<QIODevice&>(reader).readLine(data, 2), qint64(0));
            QVERIFY(reader.reset() && reader.read(data, 4) == 4);
            buffer.finishIO();
            QVERIFY(reader.bytesAvailable() == 6 && !reader.atEnd());
            std::vector<unsigned char> rest;
            reader.readAll(rest);
            QVERIFY(rest.size() == 6 && reader.atEnd() && reader.eofEncountered());
            QCOMPARE(reader.read(data, 10), 0);
            QVERIFY(reader.seek(20) && reader.readData(data, 10) == 0);
            QVERIFY(reader.peek(5).isEmpty());
            QVERIFY(buffer.open(QIODevice::WriteOnly) && !reader.atEnd());
        }
    }

    void readsLines()
    {
        MultiUserBuffer buffer(QByteArray("ab\ncd"));
        Reader reader(&buffer, true);
        QIODevice& device = reader;
        QVERIFY(reader.canReadLine() && device.readLine() == "ab\n");
        QVERIFY(!reader.canReadLine() && device.readLine() == "cd");
        QVERIFY(device.readLine().isEmpty());
        QVERIFY(reader.reset());
        char data[4] = {'#', '#', '#', '#'};
        QCOMPARE(reader.readLineData(data, 3), qint64(2));
        QCOMPARE(QByteArray(data, 4), QByteArray("ab\0#", 4));
    }

    void longLinesTakeLinearTime()
    {
        MultiUserBuffer buffer(QByteArray(64 * 1024 * 1024, 'x'));
        Reader reader(&buffer, false);
        char data[1026];
        qint64 total = 0;
        QElapsedTimer elapsed;
        elapsed.start();
        // Searched to its end for every piece, this line would be read 65,000 times over.
        for (qint64 count; (count = static_cast<QIODevice&>(reader).readLine(data, 1026)) > 0;)
            total += count;
        QCOMPARE(total, qint64(64 * 1024 * 1024));
        QVERIFY2(elapsed.elapsed() < 60000, "minutes instead of a fraction of a second");
    }

    void seeksAndOpensAsAsked()
    {
        MultiUserBuffer buffer("abc", 3);
        Reader reader(&buffer, false);
        char data[8];
        const qint64 far = 3 + (qint64(1) << 32) - 5; // 5 bytes when cut to 32 bits
        QVERIFY(reader.setPosition(far) && reader.bytesAvailable() == 3 - far);
        QVERIFY(reader.readData(data, 8) < 0 && reader.readLineData(data, 8) < 0);
        QVERIFY(reader.setPosition(2) && reader.read(data, 8) == 1);
        for (const auto mode : {QIODevice::ReadOnly, QIODevice::ReadWrite}) {
            QCOMPARE(reader.open(mode), mode == QIODevice::ReadOnly);
            QCOMPARE(reader.openMode(), mode | QIODevice::Unbuffered);
        }
    }

    void livesWithoutABuffer()
    {
        for (const QByteArray before : {"", "read", "line"}) {
            auto buffer = std::make_unique<MultiUserBuffer>(QByteArray("ab\ncd"));
            Reader reader(buffer.get(), true);
            QIODevice& device = reader;
            if (!before.isEmpty())
                QCOMPARE(before == "read" ? device.read(3) : device.readLine(), QByteArray("ab\n"));
            buffer.reset();
            char data[8];
            QVERIFY(!reader.buffer() && !reader.readable());
            for (int round = 0; round < 2; ++round)
                QVERIFY(device.read(data, 8) == 0 && device.readLine(data, 8) == 0);
            QVERIFY(reader.peek(4).isEmpty() && reader.peek(data, 4) == 0);
            QVERIFY(!reader.seek(1) && !reader.canReadLine() && !reader.atEnd());
            QVERIFY(reader.size() == 0 && reader.bytesAvailable() == 0);
            QVERIFY(!reader.ioFailureDetected());
        }
    }

    void factorySharesTheBuffer()
    {
        boost::shared_ptr<MultiUserBuffer> buffer(new MultiUserBuffer(QByteArray("abc")));
        const QPointer<MultiUserBuffer> watched(buffer.get());
        auto reader = MultiUserBuffer::createReaderInterface(buffer, true);
        auto* const device = dynamic_cast<MultiUserReader*>(reader.get());
        QSignalSpy ready(device, &QIODevice::readyRead);
        QVERIFY(buffer->open(QIODevice::WriteOnly) && buffer->write("abc") == 3);
        QTRY_COMPARE(ready.count(), 1);
        buffer->close();
        buffer.reset();
        QVERIFY(watched && !reader->nonBlocking());
        QVERIFY(device->read(2) == "ab" && device->readAll() == "c");
        reader.reset();
        QVERIFY(!watched);
    }
};

QTEST_GUILESS_MAIN(MultiUserReaderTest)
#include "MultiUserReaderTest.moc"
