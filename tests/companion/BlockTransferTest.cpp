#include "support/TestStream.h"
#include "support/testBytes.h"

#include <Quarn/companion/kelmBuffer.h>
#include <Quarn/streams/QRandomAccessIO.h>

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
        const struct
        {
            const char* name;
            TestStream::Manner manner;
            int size, moved;
        } cases[] = {{"in short pieces", {3}, 10, 10},
                     {"nothing asked", {3, 0}, 0, 0},
                     {"fails halfway", {3, 5}, 10, 5}};
        for (const auto& [name, manner, size, moved] : cases) {
            const QByteArray bytes = testBytes(10);
            QByteArray memory(20, '#');
            QVERIFY2(TestStream(bytes, manner).readBlock(memory.data(), size) == (moved == size),
                     name);
            QVERIFY2(memory.left(moved) == bytes.left(moved), name);

            kelmBuffer buffer(4, 1);
            QVERIFY2(TestStream(bytes, manner).readBlock(buffer, size) == (moved == size), name);
            QVERIFY2(buffer.size() == std::max(size, 4)
                         && contentsOf(buffer).left(moved) == bytes.left(moved),
                     name);

            TestStream destination(QByteArray(), manner);
            QVERIFY2(destination.writeBlock(bytes.constData(), size) == (moved == size), name);
            QVERIFY2(destination.bytes.startsWith(bytes.left(moved)), name);
        }
    }

    void readsToTheEnd()
    {
        const struct
        {
            const char* name;
            int size;
            TestStream::Manner manner;
            int hint, read;
        } cases[] = {{"empty", 0, {100}, 0, 0},
                     {"a chunk and one", 16385, {1 << 20}, 0, 16385},
                     {"short reads", 50000, {777}, 1, 50000},
                     {"large hint", 50000, {1 << 20}, 2000000, 50000},
                     {"fails halfway", 50000, {777, 20000}, -1, 20000},
                     {"answers too much", 50000, {1 << 20, 1 << 20, true}, 16384, 16384}};
        for (const auto& c : cases) {
            const auto make
                = [&c] { return std::make_unique<TestStream>(testBytes(c.size), c.manner); };
            readAll(c.name, make, testBytes(c.size).left(c.read), c.hint);
        }
        QByteArray bytes = testBytes(100000);
        for (const int position : {0, 99997, 100000}) {
            const auto make = [&bytes, position] {
                auto stream = std::make_unique<kel::QRandomAccessIO>(&bytes);
                stream->open(QIODevice::ReadOnly);
                stream->setPosition(position);
                return stream;
            };
            readAll("from memory", make, bytes.mid(position), 1);
        }
        TestStream large(QByteArray(64 * 1024 * 1024, 'x')); // in growing chunks
        std::vector<unsigned char> data;
        large.readAll(data);
        QVERIFY(qint64(data.size()) == large.streamSize() && large.calls.size() < 40);
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
        QVERIFY(TestStream(testBytes(5)).read(buffer, 5) == 5
                && contentsOf(buffer) == testBytes(5));
    }

private:
    template <typename Make>
    static void readAll(const char* name, Make make, const QByteArray& expected, int hint)
    {
        std::vector<unsigned char> vector(7, '#');
        make()->readAll(vector);
        QVERIFY2(vector == std::vector<unsigned char>(expected.begin(), expected.end()), name);
        kelmBuffer buffer(10, 1);
        QCOMPARE(make()->readAll(buffer, hint), int(expected.size()));
        QCOMPARE(buffer.size(), std::max(10, int(expected.size())));
        QVERIFY2(contentsOf(buffer).startsWith(expected), name);
        QVERIFY2(contentsOf(*make()->readAll(hint)) == expected, name);
    }
};

QTEST_GUILESS_MAIN(BlockTransferTest)
#include "BlockTransferTest.moc"
