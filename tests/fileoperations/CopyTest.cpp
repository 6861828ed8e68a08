#include "Entries.h"
#include "support/TestRegistry.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QBuffer>
#include <QTest>

#include <algorithm>

using namespace kel;

namespace {

using Sizes = QList<qint64>;

/** A device that does as it is told, and notes how much each call asked for. */
class Device : public QIODevice
{
public:
    explicit Device(const QByteArray& data = {}) : m_data(data) { open(ReadWrite | Unbuffered); }

    bool isSequential() const override { return true; }
    bool atEnd() const override { return m_data.isEmpty() && readings.isEmpty(); }
    bool waitForReadyRead(int msecs) override
    {
        waits << msecs;
        return msecs != refusedWait;
    }

    Sizes readings; ///< what the next reads answer; as much as there is afterwards
    Sizes writings; ///< what the next writes answer; everything afterwards
    int refusedWait = -1;
    Sizes asked;
    Sizes waits;
    QByteArray written;

protected:
    qint64 readData(char* data, qint64 size) override
    {
        asked << size;
        const qint64 answer
            = readings.isEmpty() ? std::min<qint64>(size, m_data.size()) : readings.takeFirst();
        const auto count = std::clamp<qint64>(answer, 0, std::min<qint64>(size, m_data.size()));
        std::copy_n(m_data.constData(), count, data);
        m_data.remove(0, int(count));
        return answer;
    }

    qint64 writeData(const char* data, qint64 size) override
    {
        asked << size;
        const qint64 answer = writings.isEmpty() ? size : writings.takeFirst();
        if (answer > 0 && answer <= size)
            written.append(data, int(answer));
        return answer;
    }

private:
    QByteArray m_data;
};

QByteArray bytes(int size)
{
    QByteArray data(size, '\0');
    for (int i = 0; i < size; ++i)
        data[i] = char(i % 251);
    return data;
}

} // namespace

/** The copies between devices and files. */
class CopyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void copiesInChunks_data();
    void copiesInChunks();
    void endsOrGoesOn_data();
    void endsOrGoesOn();
    void copiesByName();
    void countsWhatTheDiskTook();
};

void CopyTest::copiesInChunks_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<qint64>("limit");
    QTest::addColumn<Sizes>("asked");
    const qint64 most = std::numeric_limits<qint64>::max();
    QTest::newRow("limit beyond the source")
        << 40000 << qint64(100000) << Sizes{16384, 16384, 16384};
    QTest::newRow("limit inside the source") << 40000 << qint64(20000) << Sizes{16384, 3616};
    QTest::newRow("limit of a chunk") << 40000 << qint64(16384) << Sizes{16384};
    QTest::newRow("no limit") << 16385 << most << Sizes{16384, 16384};
    QTest::newRow("small limit") << 500 << qint64(100) << Sizes{100};
    QTest::newRow("empty source") << 0 << most << Sizes{};
    QTest::newRow("limit 0") << 500 << qint64(0) << Sizes{};
    QTest::newRow("negative limit") << 500 << qint64(-1) << Sizes{};
}

void CopyTest::copiesInChunks()
{
    QFETCH(int, size);
    QFETCH(qint64, limit);
    const QByteArray data = bytes(size);
    Device source(data);
    QBuffer target;
    target.open(QIODevice::WriteOnly);
    const QByteArray expected = data.left(int(std::clamp<qint64>(limit, 0, size)));
    QCOMPARE(FileUtils::copy(&source, &target, limit, 0), qint64(expected.size()));
    QCOMPARE(target.data(), expected);
    QTEST(source.asked, "asked");
    QCOMPARE(source.readAll(), data.mid(expected.size()));
}

void CopyTest::endsOrGoesOn_data()
{
    QTest::addColumn<Sizes>("readings");
    QTest::addColumn<Sizes>("writings");
    QTest::addColumn<int>("waitMsecs");
    QTest::addColumn<Sizes>("waits");
    QTest::addColumn<int>("count");
    const Sizes none;
    QTest::newRow("target takes parts") << none << Sizes{10, 1, 20} << 0 << none << 100;
    QTest::newRow("target takes nothing") << none << Sizes{10, 0} << 0 << none << 10;
    QTest::newRow("target fails") << none << Sizes{10, -1} << 0 << none << 10;
    QTest::newRow("target takes too much") << none << Sizes{10, 91} << 0 << none << 10;
    QTest::newRow("source fails") << Sizes{10, -1} << none << 0 << none << 10;
    QTest::newRow("source gives too much") << Sizes{10, 101} << none << 0 << none << 10;
    QTest::newRow("source is waited for")
        << Sizes{0, 10, 0, 0} << none << 500 << Sizes{500, 500, 500} << 100;
    QTest::newRow("wait is in vain") << Sizes{10, 0} << none << 7 << Sizes{7} << 10;
    QTest::newRow("source is polled") << Sizes{0, 10, 0, 0} << none << 0 << none << 100;
}

void CopyTest::endsOrGoesOn()
{
    QFETCH(int, count);
    QFETCH(int, waitMsecs);
    const QByteArray data = bytes(100);
    Device source(data);
    Device target;
    source.readings = *static_cast<const Sizes*>(QTest::qData("readings", qMetaTypeId<Sizes>()));
    target.writings = *static_cast<const Sizes*>(QTest::qData("writings", qMetaTypeId<Sizes>()));
    source.refusedWait = 7;
    QCOMPARE(FileUtils::copy(&source, &target, 100, waitMsecs), qint64(count));
    QCOMPARE(target.written, data.left(count));
    QTEST(source.waits, "waits");
}

void CopyTest::copiesByName()
{
    const TemporaryFolder folder;
    const QString from = folder.filePath(QStringLiteral("from"));
    const QString to = folder.filePath(QStringLiteral("to"));
    const QByteArray data = QByteArray("a line\n").repeated(5000);
    QBuffer source;
    source.setData(data);
    source.open(QIODevice::ReadOnly);
    QCOMPARE(FileUtils::copy(&source, from, 34999, 0), 34999);
    QCOMPARE(FileUtils::copy(from, to, 34998, 0), 34998);
    QBuffer target;
    target.open(QIODevice::WriteOnly);
    QCOMPARE(FileUtils::copy(to, &target, 1000000, 0), 34998);
    QCOMPARE(target.data(), data.left(34998));

    // Onto itself, a file is left as it is; without a source, the target is emptied.
    QVERIFY(QFile::link(to, folder.filePath(QStringLiteral("link"))));
    QCOMPARE(FileUtils::copy(to, folder.filePath(QStringLiteral("link")), 1000, 0), 0);
    QCOMPARE(QFileInfo(to).size(), 34998);
    QCOMPARE(FileUtils::copy(folder.filePath(QStringLiteral("none")), to, 1000, 0), 0);
    QCOMPARE(QFileInfo(to).size(), 0);
    // A target that cannot be opened takes nothing, after one chunk was read.
    source.seek(0);
    QCOMPARE(FileUtils::copy(&source, folder.path(), 1000000, 0), 0);
    QCOMPARE(source.pos(), 16384);
}

void CopyTest::countsWhatTheDiskTook()
{
    const QString full = QStringLiteral("/dev/full");
    if (!QFileInfo::exists(full))
        QSKIP("No device that is always full", );
    QBuffer source;
    source.setData(bytes(100000));
    source.open(QIODevice::ReadOnly);
    QCOMPARE(FileUtils::copy(&source, full, 100, 0), 0);
    QCOMPARE(FileUtils::copy(&source, full, 100000, 0), 0);
}

QUARN_TEST(CopyTest)
#include "CopyTest.moc"
