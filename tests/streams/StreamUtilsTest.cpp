#include "support/TestStream.h"
#include "support/testBytes.h"

#include <Quarn/streams/StreamUtils.h>

#include <QTest>

#include <array>
#include <cstring>

using namespace kel;

namespace {

constexpr qint64 farthest = std::numeric_limits<qint64>::max();
constexpr int all = std::numeric_limits<int>::max();

} // namespace

/** Copies in both directions, with streams that transfer little, end early or fail. */
class StreamUtilsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void movesLikeMemmove()
    {
        constexpr int length = 12289;
        for (const int mostAtOnce : {all, 4095, 1000, 7}) {
            for (const int distance : {0, 1, -1, 10, -10, 4096, -4096, 5000, -5000}) {
                TestStream stream(testBytes(20000), {mostAtOnce, farthest, false});
                const int from = std::max(-distance, 0), to = std::max(distance, 0);
                QByteArray expected = stream.bytes;
                std::memmove(expected.data() + to, expected.data() + from, length);
                QCOMPARE(StreamUtils::copy(&stream, from, to, length), qint64(length));
                QVERIFY2(stream.bytes == expected, qPrintable(QString::number(distance)));
            }
        }
    }

    void runsInPassesOf4096_data()
    {
        QTest::addColumn<qint64>("to");
        QTest::addColumn<qint64>("length");
        QTest::addColumn<QByteArray>("reads");
        QTest::addColumn<QByteArray>("writes");
        const auto row = [](const char* name, qint64 to, qint64 length, const char* reads,
                            const char* writes) {
            QTest::newRow(name) << to << length << QByteArray(reads) << QByteArray(writes);
        };
        row("nothing", 0, 0, "", "");
        row("forwards", 0, 5000, "r 0+4096,r 4096+904", "w 0+4096,w 4096+904");
        row("backwards", 6000, 5000, "r 904+4096,r 0+904", "w 6904+4096,w 6000+904");
        row("one pass", 1, 4096, "r 0+4096", "w 1+4096");
    }

    void runsInPassesOf4096()
    {
        QFETCH(qint64, to);
        QFETCH(qint64, length);
        QFETCH(QByteArray, reads);
        QFETCH(QByteArray, writes);
        TestStream source(testBytes(9000));
        TestStream destination;
        QCOMPARE(StreamUtils::copy(&source, 0, &destination, to, length), length);
        QCOMPARE(source.calls.join(QLatin1Char(',')).toLatin1(), reads);
        QCOMPARE(destination.calls.join(QLatin1Char(',')).toLatin1(), writes);
    }

    void takesNegativeLengthAsToTheEnd_data()
    {
        QTest::addColumn<qint64>("from");
        QTest::addColumn<qint64>("to");
        QTest::addColumn<qint64>("reportedSize");
        QTest::addColumn<qint64>("copied");
        const auto row = [](const char* name, qint64 from, qint64 to, qint64 size, qint64 copied) {
            QTest::newRow(name) << from << to << size << copied;
        };
        row("from the middle", 30, 0, -1, 70);
        row("backwards", 30, 40, -1, 70);
        row("at the end", 100, 0, -1, 0);
        row("beyond the end", 101, 0, -1, 0);
        row("beyond the end, backwards", 101, 200, -1, 0);
        row("size not known, backwards", 30, 40, 0, 70);
    }

    void takesNegativeLengthAsToTheEnd()
    {
        QFETCH(qint64, from);
        QFETCH(qint64, to);
        QFETCH(qint64, reportedSize);
        QFETCH(qint64, copied);
        TestStream source(testBytes(100));
        source.reportedSize = reportedSize;
        TestStream destination;
        QCOMPARE(StreamUtils::copy(&source, from, &destination, to, -1), copied);
        QCOMPARE(destination.bytes.mid(int(to)), source.bytes.right(int(copied)));
    }

    void countsWhatWasWritten_data()
    {
        QTest::addColumn<qint64>("to");
        QTest::addColumn<TestStream::Manner>("source");
        QTest::addColumn<TestStream::Manner>("destination");
        QTest::addColumn<qint64>("copied");
        using Manner = TestStream::Manner;
        const Manner good;
        for (const qint64 to : {0, 1}) {
            const char* const way = to == 0 ? "forwards" : "backwards";
            QTest::addRow("source ends, %s", way) << to << good << good << qint64(9000);
            QTest::addRow("source exaggerates, %s", way)
                << to << Manner{all, farthest, true} << good << qint64(0);
            QTest::addRow("destination exaggerates, %s", way)
                << to << good << Manner{all, farthest, true} << qint64(0);
            QTest::addRow("destination full, %s", way)
                << to << good << Manner{all, 6000, false} << qint64(6000);
        }
        QTest::newRow("source fails")
            << qint64(0) << Manner{all, 5000, false} << good << qint64(5000);
    }

    void countsWhatWasWritten()
    {
        QFETCH(qint64, to);
        QFETCH(TestStream::Manner, source);
        QFETCH(TestStream::Manner, destination);
        QFETCH(qint64, copied);
        TestStream from(testBytes(9000), source);
        TestStream into(QByteArray(), destination);
        QCOMPARE(StreamUtils::copy(&from, 0, &into, to, 10000), copied);
        if (copied == 9000 || to == 0)
            QVERIFY(into.bytes.mid(int(to)).startsWith(from.bytes.left(int(copied))));
    }

    void staysWithinTheRange()
    {
        const QList<std::array<qint64, 3>> copies = {{1, 0, farthest},
                                                     {0, 1, farthest},
                                                     {farthest - 1, 0, farthest},
                                                     {0, farthest - 1, 5000},
                                                     {farthest, farthest, farthest},
                                                     {-10, 0, -1}};
        for (const auto& [from, to, length] : copies) {
            TestStream source(testBytes(100));
            source.manner.failAfter = from < 0 ? 0 : farthest;
            source.reportedSize = farthest;
            TestStream destination(QByteArray(), {all, 0, false});
            QCOMPARE(StreamUtils::copy(&source, from, &destination, to, length), qint64(0));
            for (const QString& call : source.calls + destination.calls)
                QVERIFY2(from < 0 || !call.contains(QLatin1Char('-')), qPrintable(call));
        }
    }

    void copiesFromPositionToPosition()
    {
        TestStream source(testBytes(100));
        TestStream destination(QByteArray(10, '#'));
        source.setPosition(20);
        destination.setPosition(10);
        QCOMPARE(StreamUtils::copy(&source, &destination, 50), qint64(50));
        QCOMPARE(destination.bytes, QByteArray(10, '#') + source.bytes.mid(20, 50));
        QVERIFY(source.position() == 70 && destination.position() == 60);
    }
};

QTEST_GUILESS_MAIN(StreamUtilsTest)
#include "StreamUtilsTest.moc"
