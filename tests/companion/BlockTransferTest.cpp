#include "support/TestRegistry.h"
#include "support/TestStream.h"
#include "support/testBytes.h"

#include <Quarn/companion/kelmBuffer.h>

#include <QTest>

namespace {

QByteArray contentsOf(kelmBuffer& buffer)
{
    return QByteArray(reinterpret_cast<const char*>(buffer.firstByte()), buffer.size());
}

} // namespace

/** Block operations over streams that transfer little at once, end early or fail. */
class BlockTransferTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsBlocks_data();
    void readsBlocks();
    void writesBlocks_data();
    void writesBlocks();
    void readsToTheEnd_data();
    void readsToTheEnd();
    void readsLongStreamsInGrowingChunks();
    void bufferKeepsItsBytesAndItsSize();
};

void BlockTransferTest::readsBlocks_data()
{
    QTest::addColumn<int>("mostAtOnce");
    QTest::addColumn<qint64>("failAfter");
    QTest::addColumn<bool>("exaggerates");
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("complete");
    QTest::addColumn<int>("kept");
    const qint64 never = std::numeric_limits<qint64>::max();
    QTest::newRow("at once") << 100 << never << false << 10 << true << 10;
    QTest::newRow("byte by byte") << 1 << never << false << 10 << true << 10;
    QTest::newRow("nothing asked") << 3 << qint64(0) << false << 0 << true << 0;
    QTest::newRow("more than there is") << 3 << never << false << 11 << false << 10;
    QTest::newRow("fails halfway") << 3 << qint64(5) << false << 10 << false << 5;
    QTest::newRow("answers too much") << 3 << never << true << 10 << false << 0;
    QTest::newRow("negative") << 3 << never << false << -1 << false << 0;
}

void BlockTransferTest::readsBlocks()
{
    QFETCH(int, mostAtOnce);
    QFETCH(qint64, failAfter);
    QFETCH(bool, exaggerates);
    QFETCH(int, size);
    QFETCH(bool, complete);
    QFETCH(int, kept);
    const QByteArray bytes = testBytes(10);
    const auto stream = [&] {
        auto made = std::make_unique<TestStream>(bytes);
        made->mostAtOnce = mostAtOnce;
        made->failAfter = failAfter;
        made->exaggerates = exaggerates;
        return made;
    };
    QByteArray memory(20, '#');
    QCOMPARE(stream()->readBlock(memory.data(), size), complete);
    QCOMPARE(memory.left(kept), bytes.left(kept));

    kelmBuffer buffer(4, 1);
    QCOMPARE(stream()->readBlock(buffer, size), complete);
    QCOMPARE(buffer.size(), std::max(size, 4));
    QCOMPARE(contentsOf(buffer).left(kept), bytes.left(kept));
}

void BlockTransferTest::writesBlocks_data()
{
    readsBlocks_data();
}

void BlockTransferTest::writesBlocks()
{
    QFETCH(int, mostAtOnce);
    QFETCH(qint64, failAfter);
    QFETCH(bool, exaggerates);
    QFETCH(int, size);
    TestStream stream;
    stream.mostAtOnce = mostAtOnce;
    stream.failAfter = failAfter;
    stream.exaggerates = exaggerates;
    const QByteArray bytes = testBytes(20);
    const bool complete = size >= 0 && failAfter >= size && !exaggerates;
    QCOMPARE(stream.writeBlock(bytes.constData(), size), complete);
    if (!exaggerates)
        QCOMPARE(stream.bytes,
                 bytes.left(int(std::clamp<qint64>(failAfter, 0, std::max(size, 0)))));
}

void BlockTransferTest::readsToTheEnd_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("mostAtOnce");
    QTest::addColumn<qint64>("failAfter");
    QTest::addColumn<int>("hint");
    const qint64 never = std::numeric_limits<qint64>::max();
    QTest::newRow("empty") << 0 << 100 << never << 0;
    QTest::newRow("one byte") << 1 << 100 << never << -1;
    QTest::newRow("a chunk") << 16384 << 1000000 << never << 0;
    QTest::newRow("a chunk and one") << 16385 << 1000000 << never << 0;
    QTest::newRow("short reads, small hint") << 50000 << 777 << never << 1;
    QTest::newRow("hint beyond the end") << 50000 << 1000000 << never << 2000000;
    QTest::newRow("fails halfway") << 50000 << 777 << qint64(20000) << 0;
    QTest::newRow("fails at once") << 50000 << 777 << qint64(0) << 0;
}

void BlockTransferTest::readsToTheEnd()
{
    QFETCH(int, size);
    QFETCH(int, mostAtOnce);
    QFETCH(qint64, failAfter);
    QFETCH(int, hint);
    const QByteArray bytes = testBytes(size);
    const QByteArray expected = bytes.left(int(std::min<qint64>(size, failAfter)));
    const auto stream = [&] {
        auto made = std::make_unique<TestStream>(bytes);
        made->mostAtOnce = mostAtOnce;
        made->failAfter = failAfter;
        return made;
    };
    std::vector<unsigned char> vector(7, '#');
    stream()->readAll(vector);
    QCOMPARE(QByteArray(reinterpret_cast<const char*>(vector.data()), int(vector.size())),
             expected);

    kelmBuffer buffer;
    QCOMPARE(stream()->readAll(buffer, hint), int(expected.size()));
    QCOMPARE(contentsOf(buffer), expected);

    const boost::shared_ptr<kelmBuffer> made = stream()->readAll(hint);
    QVERIFY(made);
    QCOMPARE(contentsOf(*made), expected);
}

void BlockTransferTest::readsLongStreamsInGrowingChunks()
{
    TestStream stream(QByteArray(64 * 1024 * 1024, 'x'));
    std::vector<unsigned char> data;
    stream.readAll(data);
    QCOMPARE(qint64(data.size()), stream.streamSize());
    QVERIFY2(stream.calls.size() < 40, qPrintable(QString::number(stream.calls.size())));
}

void BlockTransferTest::bufferKeepsItsBytesAndItsSize()
{
    TestStream stream(testBytes(5));
    kelmBuffer buffer(100, 64);
    QCOMPARE(buffer.size(), 100);
    std::fill_n(buffer.firstByte(), 100, static_cast<unsigned char>('#'));
    QCOMPARE(stream.read(buffer, 10), 5);
    QCOMPARE(stream.readAll(buffer, 0), 0);
    buffer.setSize(200);
    QCOMPARE(contentsOf(buffer).left(100), testBytes(5) + QByteArray(95, '#'));
    buffer.setSize(-1);
    QCOMPARE(buffer.size(), 0);
    QVERIFY(buffer.firstByte());
}

QUARN_TEST(BlockTransferTest)
#include "BlockTransferTest.moc"
