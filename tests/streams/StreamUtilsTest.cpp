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

    void countsWhatWasWritten()
    {
        using Manner = TestStream::Manner;
        const Manner good, liar{all, farthest, true}, full{all, 6000, false};
        const struct
        {
            const char* name;
            qint64 from, to, length, copied;
            Manner source = {}, destination = {};
            qint64 reportedSize = -1;
        } cases[] = {
            {"to the end", 30, 0, -1, 8970},
            {"to the end, backwards", 30, 40, -1, 8970},
            {"at the end", 9000, 0, -1, 0},
            {"beyond the end", 9001, 0, -1, 0},
            {"beyond the end, backwards", 9001, 9100, -1, 0},
            {"size not known, backwards", 30, 40, -1, 8970, {}, {}, 0},
            {"source ends", 0, 0, 10000, 9000},
            {"source ends, backwards", 0, 1, 10000, 9000},
            {"source exaggerates", 0, 0, 10000, 4096, liar},
            {"source exaggerates, backwards", 0, 1, 10000, 3096, liar},
            {"destination exaggerates", 0, 0, 10000, 4096, good, liar},
            {"destination exaggerates, backwards", 0, 1, 10000, 3096, good, liar},
            {"destination full", 0, 0, 10000, 6000, good, full},
            {"destination full, backwards", 0, 1, 10000, 6000, good, full},
            {"source fails", 0, 0, 10000, 5000, {all, 5000, false}},
        };
        for (const auto& c : cases) {
            TestStream source(testBytes(9000), c.source), destination(QByteArray(), c.destination);
            source.reportedSize = c.reportedSize;
            const qint64 copied = StreamUtils::copy(&source, c.from, &destination, c.to, c.length);
            QCOMPARE(QByteArray(c.name) + QByteArray::number(copied),
                     c.name + QByteArray::number(c.copied));
            const bool whole
                = c.to == 0 || c.from + copied == 9000; // the rest of its bytes is lost
            QVERIFY2(!whole
                         || destination.bytes.mid(int(c.to), int(copied))
                                == source.bytes.mid(int(c.from), int(copied)),
                     c.name);
        }
    }

    void movesWithinAStreamOfUnknownSize()
    {
        TestStream stream(testBytes(9000), {1000, 50000, false}); // a copy of its own output ends
        stream.reportedSize = 0;
        const QByteArray expected = stream.bytes.left(110) + stream.bytes.mid(100);
        QCOMPARE(StreamUtils::copy(&stream, 100, 110, -1), qint64(8900));
        QVERIFY(stream.bytes == expected);
    }

    void staysWithinTheRange()
    {
        const std::array<qint64, 3> copies[] = {{1, 0, farthest},
                                                {0, 1, farthest},
                                                {farthest - 1, 0, farthest},
                                                {0, farthest - 1, 5000},
                                                {farthest, farthest, farthest},
                                                {-10, 0, -1}};
        for (const auto& [from, to, length] : copies) {
            TestStream source(testBytes(100), {all, from < 0 ? 0 : farthest, false});
            source.reportedSize = farthest;
            TestStream destination(QByteArray(), {all, 0, false});
            QCOMPARE(StreamUtils::copy(&source, from, &destination, to, length), qint64(0));
            for (const QString& call : source.calls + destination.calls)
                QVERIFY2(from < 0 || !call.contains(QLatin1Char('-')), qPrintable(call));
        }
    }
};

QTEST_GUILESS_MAIN(StreamUtilsTest)
#include "StreamUtilsTest.moc"
