#include "support/Entries.h"
#include "support/TemporaryFolder.h"
#include "support/testBytes.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>

using namespace kel;

namespace {

int failingStatus = -1; ///< so many questions for a file's identity before one fails

using Sizes = QList<qint64>;

/** A device that does as it is told, and notes how much each call asked for. */
class Device : public QIODevice
{
public:
    explicit Device(const QByteArray& data = {}, const Sizes& answers = {})
        : m_data(data), m_answers(answers)
    {
        open(ReadWrite | Unbuffered);
    }

    bool isSequential() const override { return true; }
    bool atEnd() const override { return m_data.isEmpty() && m_answers.isEmpty(); }
    bool waitForReadyRead(int msecs) override { return waits << msecs, msecs != 7; }

    Sizes asked;
    Sizes waits;
    QByteArray written;

protected:
    qint64 readData(char* data, qint64 size) override
    {
        const auto most = std::min<qint64>(size, m_data.size());
        const qint64 result = answer(size, most);
        const auto count = std::clamp<qint64>(result, 0, most);
        std::copy_n(m_data.constData(), count, data);
        m_data.remove(0, int(count));
        return result;
    }
    qint64 writeData(const char* data, qint64 size) override
    {
        const qint64 result = answer(size, size);
        if (result <= size)
            written.append(data, int(std::max<qint64>(result, 0)));
        return result;
    }

private:
    qint64 answer(qint64 size, qint64 most)
    {
        asked << size;
        return m_answers.isEmpty() ? most : m_answers.takeFirst();
    }

private:
    QByteArray m_data;
    Sizes m_answers; ///< to the next calls; as much as there is afterwards
};

} // namespace

// Stands in the way of the system's, for the library too.
extern "C" Q_DECL_EXPORT int fstat(int file, struct stat* status) noexcept
{
    if (failingStatus >= 0 && failingStatus-- == 0)
        return errno = EIO, -1;
    return int(syscall(SYS_fstat, file, status));
}

/** The copies between devices and files. */
class CopyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void copiesInChunks()
    {
        const qint64 most = std::numeric_limits<qint64>::max();
        const std::tuple<int, qint64, Sizes> rows[] = {{40000, 50000, {16384, 16384, 16384}},
                                                       {40000, 20000, {16384, 3616}},
                                                       {16385, most, {16384, 16384}},
                                                       {500, 100, {100}},
                                                       {0, most, {}},
                                                       {500, -1, {}}};
        for (const auto& [size, limit, asked] : rows) {
            const QByteArray data = testBytes(size);
            const auto count = std::clamp<qint64>(limit, 0, size);
            Device source(data);
            Device target;
            QCOMPARE(FileUtils::copy(&source, &target, limit, 0), count);
            QCOMPARE(source.asked, asked);
            QVERIFY(target.written + source.readAll() == data && target.written.size() == count);
        }
    }

    void endsOrGoesOn()
    {
        // What the reads and the writes answer, how long to wait, which waits there are; the result.
        const std::tuple<const char*, Sizes, Sizes, int, Sizes, int> rows[]
            = {{"target takes parts", {}, {10, 1, 20}, 0, {}, 100},
               {"target takes nothing", {}, {10, 0}, 0, {}, 10},
               {"target fails", {}, {10, -1}, 0, {}, 10},
               {"target takes too much", {}, {10, 91}, 0, {}, 10},
               {"source fails", {10, -1}, {}, 0, {}, 10},
               {"source gives too much", {10, 101}, {}, 0, {}, 10},
               {"source is waited for", {0, 10, 0, 0}, {}, 500, {500, 500, 500}, 100},
               {"wait is in vain", {10, 0}, {}, 7, {7}, 10},
               {"source is polled", {0, 10, 0, 0}, {}, 0, {}, 100}};
        const QByteArray data = testBytes(100);
        for (const auto& [title, readings, writings, msecs, waits, count] : rows) {
            Device source(data, readings);
            Device target({}, writings);
            QVERIFY2(FileUtils::copy(&source, &target, 100, msecs) == count, title);
            QVERIFY2(target.written == data.left(count) && source.waits == waits, title);
        }
    }

    void copiesByName()
    {
        const TemporaryFolder folder;
        const QString from = folder.at("from");
        const QString to = folder.at("to");
        const QByteArray data = QByteArray("a line\n").repeated(5000);
        Device source(data);
        QCOMPARE(FileUtils::copy(&source, from, 34999, 0), 34999);
        QCOMPARE(FileUtils::copy(from, to, 34998, 0), 34998);
        Device target;
        QCOMPARE(FileUtils::copy(to, &target, 1000000, 0), 34998);
        QCOMPARE(target.written, data.left(34998));

        // Without a source, the target is emptied.
        QVERIFY(FileUtils::copy(folder.at("none"), to, 1000, 0) == 0 && QFile(to).size() == 0);
        // A target that cannot be opened takes nothing, after one chunk was read.
        Device unread(data);
        QCOMPARE(FileUtils::copy(&unread, folder.path(), 1000000, 0), 0);
        QCOMPARE(unread.asked, Sizes{16384});
        for (const int size : {100, 100000}) { // a full disk
            Device endless(testBytes(size));
            QCOMPARE(FileUtils::copy(&endless, QStringLiteral("/dev/full"), size, 0), 0);
        }
    }

    void neverEmptiesItsSource()
    {
        const TemporaryFolder folder;
        const QString file = folder.at("file");
        QFile source(file);
        QVERIFY(source.open(QIODevice::ReadWrite) && source.write("contents") == 8);
        const QString links[] = {file, folder.at("link"), folder.at("hard")};
        QVERIFY(QFile::link(file, links[1]));
        QVERIFY(::link(QFile::encodeName(file).constData(), QFile::encodeName(links[2]).constData())
                == 0);
        for (const QString& target : links) {
            for (const int failing : {-1, 0, 1}) { // neither for what it cannot know
                failingStatus = failing;
                QVERIFY(source.seek(0) && FileUtils::copy(&source, target, 1000, 0) == 0);
                failingStatus = failing;
                QCOMPARE(FileUtils::copy(file, target, 1000, 0), 0);
                failingStatus = -1;
                QCOMPARE(QFile(file).size(), 8);
            }
        }
    }
};

QTEST_GUILESS_MAIN(CopyTest)
#include "CopyTest.moc"
