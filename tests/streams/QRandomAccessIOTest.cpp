#include "support/spellings.h"

#include <Quarn/companion/kelmBuffer.h>
#include <Quarn/streams/QRandomAccessIO.h>

#include <QRegularExpression>
#include <QTest>

#include <limits>

using kel::QRandomAccessIO;

static_assert(keepsEverySpelling<QRandomAccessIO>);

/** Lets the address sanitizer answer an allocation that is too large as any malloc() does. */
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

/** The memory stream, whose block results differ from those of the other streams. */
class QRandomAccessIOTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unopenedStreamAnswersMinusOne()
    {
        QRandomAccessIO stream;
        char byte = 0;
        for (int calls = 0; calls < 3; ++calls)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("not open")));
        QCOMPARE(stream.read(&byte, 1), -1);
        QVERIFY(stream.readBlock(&byte, 1));
        QCOMPARE(stream.write("x", 1), -1);
        QVERIFY(stream.read(&byte, 0) == 0 && stream.write("x", 0) == 0);
        QVERIFY(stream.readable() && stream.writable() && !stream.ioFailureDetected());
        stream.enableNonBlockingMode(true);
        QVERIFY(!stream.nonBlocking());
    }

    void readsAndWritesThroughBothFaces()
    {
        QByteArray bytes;
        QRandomAccessIO stream(&bytes);
        QVERIFY(stream.open(QIODevice::ReadWrite));
        QVERIFY(stream.write("one\n") == 4 && stream.write(QByteArray("two\n")) == 4);
        QVERIFY(stream.writeBlock("three", 5) && !stream.writeBlock("", 0));
        QCOMPARE(bytes, QByteArray("one\ntwo\nthree"));
        QVERIFY(stream.setPosition(4) && stream.readLine() == "two\n");

        kelmBuffer buffer(10, 1);
        QCOMPARE(stream.read(buffer, 2), 2);
        QCOMPARE(buffer.size(), 10);
        QVERIFY(stream.readBlock(buffer, 20)); // one transfer that was not empty
        QCOMPARE(buffer.size(), 20);
        QVERIFY(!stream.readBlock(buffer, 20) && stream.eofEncountered());
    }

    void staysWhereItIsWithoutMemoryToMove()
    {
        QByteArray bytes("abc");
        QRandomAccessIO stream(&bytes);
        QVERIFY(stream.open(QIODevice::ReadWrite) && stream.setPosition(1));
        QVERIFY(!stream.setPosition(std::numeric_limits<decltype(bytes.size())>::max()));
        QVERIFY(stream.position() == 1 && stream.readAll() == "bc");
        QVERIFY(stream.setPosition(5) && bytes == QByteArray("abc\0\0", 5));
    }
};

QTEST_GUILESS_MAIN(QRandomAccessIOTest)
#include "QRandomAccessIOTest.moc"
