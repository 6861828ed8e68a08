#include "support/TestRegistry.h"
#include "support/testBytes.h"

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
    using MultiUserReader::readData;
    using MultiUserReader::readLineData;
};

} // namespace

/** Readers in the thread of their buffer, without waiting. */
class MultiUserReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsWhatIsThere();
    void readersAreIndependent();
    void endsWhenTheProducerCloses_data();
    void endsWhenTheProducerCloses();
    void readsLines();
    void asksForNothingWithoutWaiting();
    void longLinesTakeLinearTime();
    void seeksAnywhere();
    void opensAsAsked_data();
    void opensAsAsked();
    void reportsFailuresOfBothSides();
    void livesWithoutABuffer_data();
    void livesWithoutABuffer();
    void factorySharesTheBuffer();
    void isAPlainQtDevice();
};

void MultiUserReaderTest::readsWhatIsThere()
{
    MultiUserBuffer buffer;
    Reader reader(&buffer, false);
    char data[10] = {};
    QCOMPARE(reader.read(data, 10), 0);
    QVERIFY(!reader.atEnd() && !reader.eofEncountered() && reader.bytesAvailable() == 0);
    QVERIFY(reader.readable() && !reader.writable() && reader.nonBlocking());
    QVERIFY(buffer.writeBlock("hello", 5));
    QCOMPARE(reader.bytesAvailable(), qint64(5));
    QCOMPARE(reader.peek(2), QByteArray("he"));
    QCOMPARE(reader.peek(data, 3), qint64(3));
    QCOMPARE(reader.read(data, 10), 5);
    QCOMPARE(QByteArray(data), QByteArray("hello"));
    QCOMPARE(reader.read(data, 10), 0);
    QVERIFY(reader.peek(1).isEmpty() && !reader.atEnd());
    QCOMPARE(reader.write("x", 1), 0);
    QCOMPARE(reader.bytesToWrite(), qint64(-1));
    reader.close();
    reader.finishIO();
    QVERIFY(reader.isOpen() && !buffer.eofEncountered());
}

void MultiUserReaderTest::readersAreIndependent()
{
    MultiUserBuffer buffer(QByteArray("abcdef"));
    Reader first(&buffer, false);
    Reader second(&buffer, false);
    char data[3];
    QVERIFY(first.readBlock(data, 3));
    QCOMPARE(first.position(), qint64(3));
    QCOMPARE(second.position(), qint64(0));
    QVERIFY(second.readBlock(data, 3));
    QCOMPARE(QByteArray(data, 3), QByteArray("abc"));
}

void MultiUserReaderTest::endsWhenTheProducerCloses_data()
{
    QTest::addColumn<bool>("blocking");
    QTest::newRow("blocking") << true;
    QTest::newRow("not blocking") << false;
}

void MultiUserReaderTest::endsWhenTheProducerCloses()
{
    QFETCH(bool, blocking);
    QElapsedTimer elapsed;
    elapsed.start();
    MultiUserBuffer buffer("0123456789", 10);
    Reader reader(&buffer, blocking);
    char data[10];
    QCOMPARE(reader.read(data, 4), 4);
    buffer.finishIO();
    QCOMPARE(reader.bytesAvailable(), qint64(6));
    QVERIFY(!reader.atEnd());
    std::vector<unsigned char> rest;
    reader.readAll(rest);
    QCOMPARE(rest.size(), std::size_t(6));
    QVERIFY(reader.atEnd() && reader.eofEncountered());
    QCOMPARE(reader.read(data, 10), 0);
    QVERIFY(reader.seek(20));
    QVERIFY(reader.atEnd());
    QCOMPARE(reader.readData(data, 10), qint64(0));
    QVERIFY(reader.peek(5).isEmpty());
    QVERIFY(buffer.open(QIODevice::WriteOnly));
    QVERIFY(!reader.atEnd());
    QVERIFY2(elapsed.elapsed() < 4000, "waited although the end was known");
}

void MultiUserReaderTest::readsLines()
{
    MultiUserBuffer buffer(QByteArray("ab\ncd"));
    Reader reader(&buffer, true);
    QIODevice& device = reader;
    QVERIFY(reader.canReadLine());
    QCOMPARE(device.readLine(), QByteArray("ab\n"));
    QVERIFY(!reader.canReadLine());
    QCOMPARE(device.readLine(), QByteArray("cd"));
    QVERIFY(device.readLine().isEmpty());

    QVERIFY(reader.reset());
    char data[4] = {'#', '#', '#', '#'};
    QCOMPARE(reader.readLineData(data, 3), qint64(2));
    QCOMPARE(QByteArray(data, 4), QByteArray("ab\0#", 4));
}

void MultiUserReaderTest::asksForNothingWithoutWaiting()
{
    MultiUserBuffer buffer; // open and empty: anything that waits does so for 5 seconds
    Reader reader(&buffer, true);
    QElapsedTimer elapsed;
    elapsed.start();
    char data[2] = {};
    QCOMPARE(reader.read(data, 0), 0);
    QVERIFY(reader.readBlock(data, 0));
    QCOMPARE(reader.readData(data, 0), qint64(0));
    QCOMPARE(reader.readLineData(data, 0), qint64(0));
    QCOMPARE(reader.readLineData(data, 1), qint64(0));
    QCOMPARE(static_cast<QIODevice&>(reader).readLine(data, 2), qint64(0));
    QVERIFY(reader.peek(0).isEmpty());
    QVERIFY2(elapsed.elapsed() < 4000, "waited for no bytes");
}

void MultiUserReaderTest::longLinesTakeLinearTime()
{
    MultiUserBuffer buffer(QByteArray(64 * 1024 * 1024, 'x'));
    Reader reader(&buffer, false);
    char data[1026];
    qint64 total = 0;
    // Searched to its end for every piece, this line would be read a thousand times over.
    for (qint64 count; (count = static_cast<QIODevice&>(reader).readLine(data, 1026)) > 0;)
        total += count;
    QCOMPARE(total, qint64(64 * 1024 * 1024));
}

void MultiUserReaderTest::seeksAnywhere()
{
    MultiUserBuffer buffer("abc", 3);
    Reader reader(&buffer, false);
    char data[8];
    const qint64 far = 3 + (qint64(1) << 32) - 5; // 5 when cut to 32 bits
    QVERIFY(reader.setPosition(far));
    QCOMPARE(reader.bytesAvailable(), 3 - far);
    QVERIFY(reader.readData(data, 8) < 0);
    QVERIFY(reader.readLineData(data, 8) < 0);
    QVERIFY(reader.setPosition(2));
    QCOMPARE(reader.read(data, 8), 1);
}

void MultiUserReaderTest::opensAsAsked_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("read") << int(QIODevice::ReadOnly) << true;
    QTest::newRow("unbuffered") << int(QIODevice::ReadOnly | QIODevice::Unbuffered) << true;
    QTest::newRow("both") << int(QIODevice::ReadWrite) << false;
    QTest::newRow("text") << int(QIODevice::ReadOnly | QIODevice::Text) << false;
}

void MultiUserReaderTest::opensAsAsked()
{
    QFETCH(int, mode);
    QFETCH(bool, accepted);
    MultiUserBuffer buffer(QByteArray("abc"));
    Reader reader(&buffer, false);
    QCOMPARE(reader.openMode(), QIODevice::ReadOnly | QIODevice::Unbuffered);
    QCOMPARE(reader.open(QIODevice::OpenMode(mode)), accepted);
    QCOMPARE(reader.openMode(), QIODevice::OpenMode(mode) | QIODevice::Unbuffered);
}

void MultiUserReaderTest::reportsFailuresOfBothSides()
{
    class Failing : public Reader
    {
    public:
        using QIODevice::setErrorString;
        using Reader::Reader;
    };
    MultiUserBuffer buffer;
    Failing reader(&buffer, false);
    QVERIFY(!reader.ioFailureDetected());
    buffer.setErrorString(QStringLiteral("line cut"));
    QVERIFY(reader.ioFailureDetected());
    QVERIFY(buffer.open(QIODevice::WriteOnly));
    QVERIFY(!reader.ioFailureDetected());
    reader.setErrorString(QStringLiteral("own failure"));
    QVERIFY(reader.ioFailureDetected() && !buffer.ioFailureDetected());
}

void MultiUserReaderTest::livesWithoutABuffer_data()
{
    QTest::addColumn<QString>("before");
    QTest::newRow("fresh") << QString();
    QTest::newRow("after a read") << QStringLiteral("read");
    QTest::newRow("after a line") << QStringLiteral("line");
}

void MultiUserReaderTest::livesWithoutABuffer()
{
    QFETCH(QString, before);
    auto buffer = std::make_unique<MultiUserBuffer>(QByteArray("ab\ncd"));
    Reader reader(buffer.get(), true);
    QIODevice& device = reader;
    if (before == QStringLiteral("read"))
        QCOMPARE(device.read(3), QByteArray("ab\n"));
    if (before == QStringLiteral("line"))
        QCOMPARE(device.readLine(), QByteArray("ab\n"));
    buffer.reset();

    char data[8];
    QVERIFY(!reader.buffer() && !reader.readable());
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(reader.read(data, 8), 0);
        QCOMPARE(device.read(data, 8), qint64(0));
        QCOMPARE(device.readLine(data, 8), qint64(0));
    }
    QVERIFY(reader.peek(4).isEmpty() && reader.peek(data, 4) == 0);
    QVERIFY(!reader.seek(1) && !reader.canReadLine() && !reader.atEnd());
    QVERIFY(reader.size() == 0 && reader.bytesAvailable() == 0 && !reader.ioFailureDetected());
}

void MultiUserReaderTest::factorySharesTheBuffer()
{
    boost::shared_ptr<MultiUserBuffer> buffer(new MultiUserBuffer(QByteArray("abc")));
    const QPointer<MultiUserBuffer> watched(buffer.get());
    auto reader = MultiUserBuffer::createReaderInterface(buffer, true);
    buffer.reset();
    QVERIFY(watched);
    char data[3];
    QVERIFY(reader->readBlock(data, 3));
    QCOMPARE(QByteArray(data, 3), QByteArray("abc"));
    QVERIFY(!reader->nonBlocking());
    reader.reset();
    QVERIFY(!watched);
}

void MultiUserReaderTest::isAPlainQtDevice()
{
    const QByteArray bytes = testBytes(50000);
    MultiUserBuffer buffer(bytes);
    Reader reader(&buffer, true);
    QIODevice& device = reader;
    QVERIFY(!device.isSequential());
    QCOMPARE(device.readAll(), bytes);
    QVERIFY(device.atEnd());
    QVERIFY(device.seek(100));
    QCOMPARE(device.skip(50), qint64(50));
    QCOMPARE(device.read(10), bytes.mid(150, 10));
    QCOMPARE(device.peek(10), bytes.mid(160, 10));
    QCOMPARE(device.read(10), bytes.mid(160, 10));
}

QUARN_TEST(MultiUserReaderTest)
#include "MultiUserReaderTest.moc"
