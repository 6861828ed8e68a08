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

    void setsBothPositionsInPassesOf4096()
    {
        const auto check = [&](qint64 to, qint64 length, const char* reads, const char* writes) {
            TestStream source(testBytes(9000));
            TestStream destination;
            QCOMPARE(StreamUtils::copy(&source, 0, &destination, to, length), length);
            QCOMPARE(source.calls.join(QLatin1Char(',')), QLatin1String(reads));
            QCOMPARE(destination.calls.join(QLatin1Char(',')), QLatin1String(writes));
        };
        check(0, 0, "", "");
        check(0, 1, "s 0,r 0+1", "s 0,w 0+1");
        check(0, 5000, "s 0,r 0+4096,s 4096,r 4096+904", "s 0,w 0+4096,s 4096,w 4096+904");
        check(6000, 5000, "s 904,r 904+4096,s 0,r 0+904", "s 6904,w 6904+4096,s 6000,w 6000+904");
        check(1, 4096, "s 0,r 0+4096", "s 1,w 1+4096");
    }

    void takesNegativeLengthAsToTheEnd()
    {
        const auto check
            = [&](const char* name, qint64 from, qint64 to, qint64 reportedSize, qint64 copied) {
                  TestStream source(testBytes(100));
                  source.reportedSize = reportedSize;
                  TestStream destination;
                  QVERIFY2(StreamUtils::copy(&source, from, &destination, to, -1) == copied, name);
                  QVERIFY2(destination.bytes.mid(int(to)) == source.bytes.right(int(copied)), name);
              };
        check("from the middle", 30, 0, -1, 70);
        check("backwards", 30, 40, -1, 70);
        check("at the end", 100, 0, -1, 0);
        check("beyond the end", 101, 0, -1, 0);
        check("beyond the end, backwards", 101, 200, -1, 0);
        check("size not known, backwards", 30, 40, 0, 70);
    }

    void movesWithinAStreamOfUnknownSize()
    {
        TestStream stream(testBytes(9000), {1000, 50000, false}); // a copy of its own output ends
        stream.reportedSize = 0;
        const QByteArray expected = stream.bytes.left(110) + stream.bytes.mid(100);
        QCOMPARE(StreamUtils::copy(&stream, 100, 110, -1), qint64(8900));
        QVERIFY(stream.bytes == expected);
    }

    void countsWhatWasWritten()
    {
        using Manner = TestStream::Manner;
        const Manner good, exaggerating{all, farthest, true}, full{all, 6000, false};
        const auto check = [&](const char* name, qint64 to, const Manner& source,
                               const Manner& destination, qint64 copied) {
            TestStream from(testBytes(9000), source);
            TestStream into(QByteArray(), destination);
            QVERIFY2(StreamUtils::copy(&from, 0, &into, to, 10000) == copied, name);
            if (copied == 9000 || to == 0)
                QVERIFY2(into.bytes.mid(int(to)).startsWith(from.bytes.left(int(copied))), name);
        };
        check("source ends, forwards", 0, good, good, 9000);
        check("source ends, backwards", 1, good, good, 9000);
        check("source exaggerates, forwards", 0, exaggerating, good, 4096);
        check("source exaggerates, backwards", 1, exaggerating, good, 3096);
        check("destination exaggerates, forwards", 0, good, exaggerating, 4096);
        check("destination exaggerates, backwards", 1, good, exaggerating, 3096);
        check("destination full, forwards", 0, good, full, 6000);
        check("destination full, backwards", 1, good, full, 6000);
        check("source fails", 0, Manner{all, 5000, false}, good, 5000);
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
