#include "support/TestRegistry.h"
#include "support/TestStream.h"
#include "support/testBytes.h"

#include <Quarn/streams/StreamUtils.h>

#include <QTest>

#include <cstring>

using namespace kel;

namespace {

constexpr qint64 farthest = std::numeric_limits<qint64>::max();

} // namespace

/** Copies in both directions, with streams that transfer little, end early or fail. */
class StreamUtilsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void movesLikeMemmove_data();
    void movesLikeMemmove();
    void runsInPassesOf4096_data();
    void runsInPassesOf4096();
    void takesNegativeLengthAsToTheEnd_data();
    void takesNegativeLengthAsToTheEnd();
    void countsWhatWasWritten_data();
    void countsWhatWasWritten();
    void staysWithinTheRange_data();
    void staysWithinTheRange();
    void copiesFromPositionToPosition();
};

void StreamUtilsTest::movesLikeMemmove_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("mostAtOnce");
    for (const int most : {1 << 30, 4095, 1000, 7}) {
        for (const int distance : {1, 10, 4096, 5000}) {
            QTest::addRow("forwards by %d, %d at once", distance, most)
                << 0 << distance << 12289 << most;
            QTest::addRow("backwards by %d, %d at once", distance, most)
                << distance << 0 << 12289 << most;
        }
        QTest::addRow("onto itself, %d at once", most) << 5 << 5 << 5000 << most;
    }
}

void StreamUtilsTest::movesLikeMemmove()
{
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(int, length);
    QFETCH(int, mostAtOnce);
    TestStream stream(testBytes(20000));
    stream.mostAtOnce = mostAtOnce;
    QByteArray expected = stream.bytes;
    std::memmove(expected.data() + to, expected.data() + from, std::size_t(length));
    QCOMPARE(StreamUtils::copy(&stream, from, to, length), qint64(length));
    QCOMPARE(stream.bytes, expected);
}

void StreamUtilsTest::runsInPassesOf4096_data()
{
    QTest::addColumn<qint64>("to");
    QTest::addColumn<qint64>("length");
    QTest::addColumn<QString>("reads");
    QTest::addColumn<QString>("writes");
    const auto text = [](const char* calls) { return QString::fromLatin1(calls); };
    QTest::newRow("nothing") << qint64(0) << qint64(0) << QString() << QString();
    QTest::newRow("forwards") << qint64(0) << qint64(5000) << text("r 0+4096,r 4096+904")
                              << text("w 0+4096,w 4096+904");
    QTest::newRow("backwards") << qint64(6000) << qint64(5000) << text("r 904+4096,r 0+904")
                               << text("w 6904+4096,w 6000+904");
    QTest::newRow("one pass") << qint64(1) << qint64(4096) << text("r 0+4096") << text("w 1+4096");
}

void StreamUtilsTest::runsInPassesOf4096()
{
    QFETCH(qint64, to);
    QFETCH(qint64, length);
    QFETCH(QString, reads);
    QFETCH(QString, writes);
    TestStream source(testBytes(9000));
    TestStream destination;
    QCOMPARE(StreamUtils::copy(&source, 0, &destination, to, length), length);
    QCOMPARE(source.calls.join(QLatin1Char(',')), reads);
    QCOMPARE(destination.calls.join(QLatin1Char(',')), writes);
}

void StreamUtilsTest::takesNegativeLengthAsToTheEnd_data()
{
    QTest::addColumn<qint64>("from");
    QTest::addColumn<qint64>("to");
    QTest::addColumn<qint64>("reportedSize");
    QTest::addColumn<qint64>("copied");
    QTest::newRow("from the middle") << qint64(30) << qint64(0) << qint64(-1) << qint64(70);
    QTest::newRow("backwards") << qint64(30) << qint64(40) << qint64(-1) << qint64(70);
    QTest::newRow("at the end") << qint64(100) << qint64(0) << qint64(-1) << qint64(0);
    QTest::newRow("beyond the end") << qint64(101) << qint64(0) << qint64(-1) << qint64(0);
    QTest::newRow("beyond the end, to behind it")
        << qint64(101) << qint64(200) << qint64(-1) << qint64(0);
    QTest::newRow("size not known") << qint64(30) << qint64(40) << qint64(0) << qint64(70);
    QTest::newRow("huge size, negative position")
        << qint64(-10) << qint64(0) << farthest << qint64(0);
}

void StreamUtilsTest::takesNegativeLengthAsToTheEnd()
{
    QFETCH(qint64, from);
    QFETCH(qint64, to);
    QFETCH(qint64, reportedSize);
    QFETCH(qint64, copied);
    TestStream source(testBytes(100));
    source.reportedSize = reportedSize;
    TestStream destination;
    if (from < 0)
        source.failAfter = 0;
    QCOMPARE(StreamUtils::copy(&source, from, &destination, to, -1), copied);
    QCOMPARE(destination.bytes.mid(int(to)), source.bytes.right(int(copied)));
}

void StreamUtilsTest::countsWhatWasWritten_data()
{
    QTest::addColumn<qint64>("to");
    QTest::addColumn<qint64>("sourceFails");
    QTest::addColumn<qint64>("destinationFails");
    QTest::addColumn<bool>("exaggerates");
    QTest::addColumn<qint64>("copied");
    QTest::newRow("source ends") << qint64(0) << farthest << farthest << false << qint64(9000);
    QTest::newRow("source fails") << qint64(0) << qint64(5000) << farthest << false << qint64(5000);
    QTest::newRow("destination full")
        << qint64(0) << farthest << qint64(6000) << false << qint64(6000);
    QTest::newRow("destination fails at once")
        << qint64(0) << farthest << qint64(0) << false << qint64(0);
    QTest::newRow("destination full, backwards")
        << qint64(1) << farthest << qint64(6000) << false << qint64(6000);
    QTest::newRow("source ends inside the last chunk, backwards")
        << qint64(1) << farthest << farthest << false << qint64(9000);
    QTest::newRow("answers too much") << qint64(0) << farthest << farthest << true << qint64(0);
    QTest::newRow("answers too much, backwards")
        << qint64(1) << farthest << farthest << true << qint64(0);
}

void StreamUtilsTest::countsWhatWasWritten()
{
    QFETCH(qint64, to);
    QFETCH(qint64, sourceFails);
    QFETCH(qint64, destinationFails);
    QFETCH(bool, exaggerates);
    QFETCH(qint64, copied);
    const qint64 length = destinationFails == farthest ? 10000 : 9000;
    TestStream source(testBytes(9000));
    source.failAfter = sourceFails;
    source.exaggerates = exaggerates;
    TestStream destination;
    destination.failAfter = destinationFails;
    QCOMPARE(StreamUtils::copy(&source, 0, &destination, to, length), copied);
    if (to == 0)
        QCOMPARE(destination.bytes, source.bytes.left(int(copied)));
    else if (copied == 9000)
        QCOMPARE(destination.bytes.mid(1, 9000), source.bytes);

    source.exaggerates = false;
    destination.exaggerates = exaggerates;
    if (exaggerates)
        QCOMPARE(StreamUtils::copy(&source, 0, &destination, to, 9000), qint64(0));
}

void StreamUtilsTest::staysWithinTheRange_data()
{
    QTest::addColumn<qint64>("from");
    QTest::addColumn<qint64>("to");
    QTest::addColumn<qint64>("length");
    QTest::newRow("longest, forwards") << qint64(1) << qint64(0) << farthest;
    QTest::newRow("longest, backwards") << qint64(0) << qint64(1) << farthest;
    QTest::newRow("farthest source") << farthest - 1 << qint64(0) << farthest;
    QTest::newRow("farthest destination") << qint64(0) << farthest - 1 << qint64(5000);
    QTest::newRow("both") << farthest << farthest << farthest;
}

void StreamUtilsTest::staysWithinTheRange()
{
    QFETCH(qint64, from);
    QFETCH(qint64, to);
    QFETCH(qint64, length);
    TestStream source(testBytes(100));
    TestStream destination;
    destination.failAfter = 0; // nothing is to be made room for out there
    const qint64 copied = StreamUtils::copy(&source, from, &destination, to, length);
    QCOMPARE(copied, qint64(0));
    for (const QString& call : source.calls + destination.calls)
        QVERIFY2(!call.contains(QLatin1Char('-')), qPrintable(call));
}

void StreamUtilsTest::copiesFromPositionToPosition()
{
    TestStream source(testBytes(100));
    TestStream destination(QByteArray(10, '#'));
    source.setPosition(20);
    destination.setPosition(10);
    QCOMPARE(StreamUtils::copy(&source, &destination, 50), qint64(50));
    QCOMPARE(destination.bytes, QByteArray(10, '#') + source.bytes.mid(20, 50));
    QCOMPARE(source.position(), qint64(70));
    QCOMPARE(destination.position(), qint64(60));
}

QUARN_TEST(StreamUtilsTest)
#include "StreamUtilsTest.moc"
