#include "support/TestRegistry.h"
#include "support/testBytes.h"

#include <Quarn/companion/kelmBuffer.h>
#include <Quarn/streams/QRandomAccessIO.h>

#include <QRegularExpression>
#include <QTest>

using kel::QRandomAccessIO;

/** The memory stream, whose block results differ from those of the other streams. */
class QRandomAccessIOTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unopenedStreamAnswersMinusOne();
    void readsAndWritesThroughBothFaces();
    void growsButNeverShrinksBuffers();
    void readsAllThatIsLeft_data();
    void readsAllThatIsLeft();
};

void QRandomAccessIOTest::unopenedStreamAnswersMinusOne()
{
    QRandomAccessIO stream;
    char byte = 0;
    QVERIFY(stream.readable() && stream.writable());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("device not open")));
    QCOMPARE(stream.read(&byte, 1), -1);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("device not open")));
    QVERIFY(stream.readBlock(&byte, 1));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("device not open")));
    QCOMPARE(stream.write("x", 1), -1);
    QVERIFY(!stream.ioFailureDetected());
    stream.enableNonBlockingMode(true);
    QVERIFY(!stream.nonBlocking());
}

void QRandomAccessIOTest::readsAndWritesThroughBothFaces()
{
    QByteArray bytes;
    QRandomAccessIO stream(&bytes);
    QVERIFY(stream.open(QIODevice::ReadWrite));
    QIODevice& device = stream;
    QCOMPARE(device.write("one\ntwo\n"), qint64(8));
    QVERIFY(stream.writeBlock("three", 5));
    QVERIFY(!stream.writeBlock("", 0));
    QCOMPARE(bytes, QByteArray("one\ntwo\nthree"));
    QCOMPARE(stream.streamSize(), qint64(13));
    QVERIFY(stream.eofEncountered());

    QVERIFY(stream.setPosition(4));
    QCOMPARE(device.readLine(), QByteArray("two\n"));
    QCOMPARE(stream.position(), qint64(8));
    char data[10] = {};
    QVERIFY(stream.readBlock(data, 10)); // one transfer that was not empty
    QCOMPARE(QByteArray(data), QByteArray("three"));
    QVERIFY(!stream.readBlock(data, 10));
}

void QRandomAccessIOTest::growsButNeverShrinksBuffers()
{
    QByteArray bytes("abcde");
    QRandomAccessIO stream(&bytes);
    QVERIFY(stream.open(QIODevice::ReadOnly));
    kelmBuffer buffer(100, 1);
    QCOMPARE(stream.read(buffer, 2), 2);
    QCOMPARE(buffer.size(), 100);
    QVERIFY(stream.setPosition(0));
    QCOMPARE(stream.read(buffer, 200), 5);
    QCOMPARE(buffer.size(), 200);
    QVERIFY(!stream.readBlock(buffer, 200));
}

void QRandomAccessIOTest::readsAllThatIsLeft_data()
{
    QTest::addColumn<int>("position");
    QTest::newRow("everything") << 0;
    QTest::newRow("three bytes") << 99997;
    QTest::newRow("nothing") << 100000;
}

void QRandomAccessIOTest::readsAllThatIsLeft()
{
    QFETCH(int, position);
    QByteArray bytes = testBytes(100000);
    const QByteArray rest = bytes.mid(position);
    QRandomAccessIO stream(&bytes);
    QVERIFY(stream.open(QIODevice::ReadOnly));
    const auto text = [](const unsigned char* data, std::size_t size) {
        return QByteArray(reinterpret_cast<const char*>(data), int(size));
    };

    QVERIFY(stream.setPosition(position));
    std::vector<unsigned char> vector(5);
    stream.readAll(vector);
    QCOMPARE(text(vector.data(), vector.size()), rest);

    QVERIFY(stream.setPosition(position));
    kelmBuffer buffer(10, 1);
    QCOMPARE(stream.readAll(buffer, 1), int(rest.size()));
    QCOMPARE(buffer.size(), std::max(int(rest.size()), 10));
    QCOMPARE(text(buffer.firstByte(), std::size_t(rest.size())), rest);

    QVERIFY(stream.setPosition(position));
    const boost::shared_ptr<kelmBuffer> made = stream.readAll(1);
    QVERIFY(made);
    QCOMPARE(text(made->firstByte(), std::size_t(made->size())), rest);
    QVERIFY(stream.eofEncountered());
}

QUARN_TEST(QRandomAccessIOTest)
#include "QRandomAccessIOTest.moc"
