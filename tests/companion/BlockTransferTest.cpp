#include "support/TestStream.h"
#include "support/testBytes.h"

#include <Quarn/companion/kelmBuffer.h>

#include <QTest>

namespace {

constexpr qint64 never = std::numeric_limits<qint64>::max();

QByteArray bytesOf(const unsigned char* data, std::size_t size)
{
    return QByteArray(reinterpret_cast<const char*>(data), int(size));
}

QByteArray contentsOf(kelmBuffer& buffer)
{
    return bytesOf(buffer.firstByte(), std::size_t(buffer.size()));
}

} // namespace

/** Block operations over streams that transfer little at once, end early or fail. */
class BlockTransferTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void transfersBlocks_data()
    {
        QTest::addColumn<TestStream::Manner>("manner");
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("moved");
        QTest::newRow("at once") << TestStream::Manner{100, never, false} << 10 << 10;
        QTest::newRow("byte by byte") << TestStream::Manner{1, never, false} << 10 << 10;
        QTest::newRow("nothing asked") << TestStream::Manner{3, 0, false} << 0 << 0;
        QTest::newRow("fails halfway") << TestStream::Manner{3, 5, false} << 10 << 5;
        QTest::newRow("answers too much") << TestStream::Manner{3, never, true} << 10 << 0;
        QTest::newRow("negative") << TestStream::Manner{3, never, false} << -1 << 0;
    }

    void transfersBlocks()
    {
        QFETCH(TestStream::Manner, manner);
        QFETCH(int, size);
        QFETCH(int, moved);
        const QByteArray bytes = testBytes(10);
        TestStream source(bytes, manner);
        QByteArray memory(20, '#');
        QCOMPARE(source.readBlock(memory.data(), size), moved == size);
        QCOMPARE(memory.left(moved), bytes.left(moved));

        TestStream again(bytes, manner);
        kelmBuffer buffer(4, 1);
        QCOMPARE(again.readBlock(buffer, size), moved == size);
        QCOMPARE(buffer.size(), std::max(size, 4));
        QCOMPARE(contentsOf(buffer).left(moved), bytes.left(moved));

        TestStream destination(QByteArray(), manner);
        QCOMPARE(destination.writeBlock(bytes.constData(), size), moved == size);
        QVERIFY(destination.bytes.startsWith(bytes.left(moved)));
    }

    void readsToTheEnd_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<TestStream::Manner>("manner");
        QTest::addColumn<int>("hint");
        QTest::newRow("empty") << 0 << TestStream::Manner{100, never, false} << 0;
        QTest::newRow("a chunk and one") << 16385 << TestStream::Manner{1 << 20, never, false} << 0;
        QTest::newRow("short reads") << 50000 << TestStream::Manner{777, never, false} << 1;
        QTest::newRow("large hint")
            << 50000 << TestStream::Manner{1 << 20, never, false} << 2000000;
        QTest::newRow("fails halfway") << 50000 << TestStream::Manner{777, 20000, false} << -1;
    }

    void readsToTheEnd()
    {
        QFETCH(int, size);
        QFETCH(TestStream::Manner, manner);
        QFETCH(int, hint);
        const QByteArray bytes = testBytes(size);
        const QByteArray expected = bytes.left(int(std::min<qint64>(size, manner.failAfter)));
        std::vector<unsigned char> vector(7, '#');
        TestStream(bytes, manner).readAll(vector);
        QCOMPARE(bytesOf(vector.data(), vector.size()), expected);

        kelmBuffer buffer;
        QCOMPARE(TestStream(bytes, manner).readAll(buffer, hint), int(expected.size()));
        QCOMPARE(contentsOf(buffer), expected);
        QCOMPARE(contentsOf(*TestStream(bytes, manner).readAll(hint)), expected);
    }

    void readsLongStreamsInGrowingChunks()
    {
        TestStream stream(QByteArray(64 * 1024 * 1024, 'x'));
        std::vector<unsigned char> data;
        stream.readAll(data);
        QCOMPARE(qint64(data.size()), stream.streamSize());
        QVERIFY2(stream.calls.size() < 40, qPrintable(QString::number(stream.calls.size())));
    }

    void bufferKeepsItsBytesAndItsSize()
    {
        TestStream stream(testBytes(5));
        kelmBuffer buffer(100, 64);
        std::fill_n(buffer.firstByte(), 100, static_cast<unsigned char>('#'));
        QCOMPARE(stream.read(buffer, 10), 5);
        QCOMPARE(stream.readAll(buffer, 0), 0);
        QCOMPARE(buffer.size(), 100);
        buffer.setSize(200);
        QCOMPARE(contentsOf(buffer).left(100), testBytes(5) + QByteArray(95, '#'));
        buffer.setSize(-1);
        QVERIFY(buffer.size() == 0 && buffer.firstByte());
    }
};

QTEST_GUILESS_MAIN(BlockTransferTest)
#include "BlockTransferTest.moc"
