#include "support/TemporaryFolder.h"
#include "support/posix.h"
#include "support/testBytes.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <limits>
#include <tuple>

using namespace kel;

using Sizes = QList<qint64>;

constexpr qint64 most = std::numeric_limits<qint64>::max();

/** A device that does as it is told, and notes how much each read asked for. */
class Device : public QIODevice
{
public:
    explicit Device(const QByteArray& data = {}, const Sizes& answers = {})
        : bytes(data), m_answers(answers)
    {
        open(ReadWrite | Unbuffered);
    }

    bool isSequential() const override { return true; }
    bool atEnd() const override { return bytes.isEmpty() && m_answers.isEmpty(); }
    bool waitForReadyRead(int msecs) override { return waits << msecs, msecs != 7; }

    QByteArray bytes; ///< to read, or written
    Sizes asked;
    Sizes waits;

protected:
    qint64 readData(char* data, qint64 size) override
    {
        asked << size;
        const qint64 result = answer(std::min<qint64>(size, bytes.size()));
        const QByteArray given = bytes.left(int(result));
        std::copy(given.begin(), given.end(), data);
        bytes.remove(0, int(given.size()));
        return result;
    }
    qint64 writeData(const char* data, qint64 size) override
    {
        const qint64 result = answer(size);
        if (result > 0 && result <= size)
            bytes.append(data, int(result));
        return result;
    }

private:
    qint64 answer(qint64 usual) { return m_answers.isEmpty() ? usual : m_answers.takeFirst(); }

    Sizes m_answers; ///< to the next calls; as much as there is afterwards
};

/** The copies between devices and files. */
class CopyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsOrGoesOn()
    {
        // The limit, what the reads and the writes answer, how long to wait, which waits there are;
        // the result.
        const std::tuple<const char*, qint64, Sizes, Sizes, int, Sizes, int> rows[]
            = {{"limit", 60, {}, {}, 0, {}, 60},
               {"nothing is asked for", -1, {}, {}, 0, {}, 0},
               {"target takes parts", most, {}, {10, 1, 20}, 0, {}, 100},
               {"target takes nothing", most, {}, {10, 0}, 0, {}, 10},
               {"target fails", most, {}, {10, -1}, 0, {}, 10},
               {"target takes too much", most, {}, {10, 91}, 0, {}, 10},
               {"source fails", most, {10, -1}, {}, 0, {}, 10},
               {"source gives too much", 100, {10, 101}, {}, 0, {}, 10},
               {"source is waited for", 100, {0, 10, 0, 0}, {}, 500, {500, 500, 500}, 100},
               {"wait is in vain", most, {10, 0}, {}, 7, {7}, 10},
               {"source is polled", most, {0, 10, 0, 0}, {}, 0, {}, 100}};
        const QByteArray data = testBytes(100);
        for (const auto& [title, limit, readings, writings, msecs, waits, count] : rows) {
            Device source(data, readings), target({}, writings);
            QVERIFY2(FileUtils::copy(&source, &target, limit, msecs) == count, title);
            QVERIFY2(target.bytes == data.left(count) && source.waits == waits, title);
        }
    }

    void copiesByName()
    {
        const TemporaryFolder folder;
        const QString from = folder.at("from"), to = folder.at("to"), none = folder.at("none");
        const QByteArray data = QByteArray("a line\n").repeated(5000);
        Device source(data), target, unread(data), endless(data);
        QCOMPARE(FileUtils::copy(&source, from, 34999, 0), 34999);
        QCOMPARE(source.asked, Sizes({16384, 16384, 2231}));
        QCOMPARE(FileUtils::copy(from, to, 34998, 0), 34998);
        QCOMPARE(FileUtils::copy(to, &target, most, 0), 34998);
        QCOMPARE(target.bytes, data.left(34998));

        // Nothing goes from a file to itself. Without a source, the target is emptied.
        const qint64 size = QFile(to).size(); // with two characters at the ends of lines, it may be
        QVERIFY(FileUtils::copy(to, to, 1000, 0) == 0 && QFile(to).size() == size && size >= 34998);
        QVERIFY(FileUtils::copy(none, to, 1000, 0) == 0 && QFile(to).size() == 0);
        // A target that cannot be opened takes nothing, after one chunk was read; a full disk too.
        QCOMPARE(FileUtils::copy(&unread, folder.path(), most, 0), 0);
        QCOMPARE(unread.asked, Sizes{16384});
        if (hasPosix)
            QCOMPARE(FileUtils::copy(&endless, QStringLiteral("/dev/full"), most, 0), 0);
    }
};

QTEST_GUILESS_MAIN(CopyTest)
#include "CopyTest.moc"
