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
    void transfersBlocks()
    {
        const auto check = [&](const char* name, const TestStream::Manner& manner, int size,
                               int moved) {
            const QByteArray bytes = testBytes(10);
            TestStream source(bytes, manner);
            QByteArray memory(20, '#');
            QVERIFY2(source.readBlock(memory.data(), size) == (moved == size), name);
            QVERIFY2(memory.left(moved) == bytes.left(moved), name);

            TestStream again(bytes, manner);
            kelmBuffer buffer(4, 1);
            QVERIFY2(again.readBlock(buffer, size) == (moved == size), name);
            QVERIFY2(buffer.size() == std::max(size, 4)
                         && contentsOf(buffer).left(moved) == bytes.left(moved),
                     name);

            TestStream destination(QByteArray(), manner);
            QVERIFY2(destination.writeBlock(bytes.constData(), size) == (moved == size), name);
            QVERIFY2(destination.bytes.startsWith(bytes.left(moved)), name);
        };
        check("at once", {100}, 10, 10);
        check("in short pieces", {3}, 10, 10);
        check("nothing asked", {3, 0}, 0, 0);
        check("fails halfway", {3, 5}, 10, 5);
        check("answers too much", {3, 100, true}, 10, 3); // to the second call
        check("negative", {3}, -1, 0);
    }

    void readsToTheEnd()
    {
        const auto check = [&](const char* name, int size, const TestStream::Manner& manner,
                               int hint) {
            const QByteArray bytes = testBytes(size);
            const QByteArray expected = bytes.left(int(std::min<qint64>(size, manner.failAfter)));
            std::vector<unsigned char> vector(7, '#');
            TestStream(bytes, manner).readAll(vector);
            QVERIFY2(vector == std::vector<unsigned char>(expected.begin(), expected.end()), name);
            kelmBuffer buffer;
            QCOMPARE(TestStream(bytes, manner).readAll(buffer, hint), int(expected.size()));
            QVERIFY2(contentsOf(buffer) == expected, name);
            QVERIFY2(contentsOf(*TestStream(bytes, manner).readAll(hint)) == expected, name);
        };
        check("empty", 0, {100}, 0);
        check("a chunk and one", 16385, {1 << 20}, 0);
        check("short reads", 50000, {777}, 1);
        check("large hint", 50000, {1 << 20}, 2000000);
        check("fails halfway", 50000, {777, 20000}, -1);
        TestStream liar(testBytes(50000), {1 << 20, 1 << 20, true});
        QCOMPARE(liar.readAll(0)->size(), 16384); // from the second call on it answers too much
    }

    void readsLongStreamsInGrowingChunks()
    {
        TestStream stream(QByteArray(64 * 1024 * 1024, 'x'));
        std::vector<unsigned char> data;
        stream.readAll(data);
        QVERIFY(qint64(data.size()) == stream.streamSize() && stream.calls.size() < 40);
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
        buffer.setSize(20000);
        QCOMPARE(TestStream(testBytes(20001)).readAll(buffer, 1), 20001);
        buffer.setSize(-1);
        QVERIFY(buffer.size() == 0 && buffer.firstByte());
        QVERIFY(TestStream(testBytes(5)).read(buffer, 5) == 5
                && contentsOf(buffer) == testBytes(5));
    }
};

QTEST_GUILESS_MAIN(BlockTransferTest)
#include "BlockTransferTest.moc"
