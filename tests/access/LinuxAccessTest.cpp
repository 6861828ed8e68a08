#include "support/TestRegistry.h"

#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/access/KelFileAccess.h>
#include <Quarn/companion/Log.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

#include <csignal>

using namespace kel;

namespace {

constexpr int passwordLength = 40;

/** Computed, so that the program holds no password but in the strings that it makes. */
wchar_t passwordCharacter(int kind, int index)
{
    return wchar_t(L'!' + (index * index * 7 + index * 3 + kind * 11) % 90);
}

std::wstring password(int kind)
{
    std::wstring text(passwordLength, L' ');
    for (int i = 0; i < passwordLength; ++i)
        text[std::size_t(i)] = passwordCharacter(kind, i);
    return text;
}

__attribute__((no_sanitize("address"))) int count(quintptr begin, quintptr end, int kind)
{
    int found = 0;
    const auto* const last = reinterpret_cast<const wchar_t*>(end) - passwordLength;
    for (auto* text = reinterpret_cast<const wchar_t*>(begin); text <= last; ++text) {
        int length = 8; // the heap overwrites the beginning of what is freed
        while (length < passwordLength && text[length] == passwordCharacter(kind, length))
            ++length;
        found += length == passwordLength;
    }
    return found;
}

/** How often the memory of the process holds a password: all of it, and what a core dump gets. */
std::pair<int, int> find(int kind)
{
    QFile maps(QStringLiteral("/proc/self/smaps"));
    if (!maps.open(QIODevice::ReadOnly))
        return {-1, -1};
    std::pair<int, int> found;
    quintptr begin = 0;
    quintptr end = 0;
    for (const QByteArray& line : maps.readAll().split('\n')) {
        const QList<QByteArray> words = line.simplified().split(' ');
        const QList<QByteArray> range = words.at(0).split('-');
        if (range.size() == 2) {
            begin = quintptr(range.at(0).toULongLong(nullptr, 16));
            end = quintptr(range.at(1).toULongLong(nullptr, 16));
            if (!words.at(1).startsWith("rw"))
                end = begin;
        }
        // A sanitizer's shadow memory is larger than all else together.
        if (words.at(0) != "VmFlags:" || end == begin || end - begin > (quintptr(1) << 31))
            continue;
        const int here = count(begin, end, kind);
        found.first += here;
        found.second += words.contains("dd") ? 0 : here;
    }
    return found;
}

} // namespace

/** What is left in memory of passwords, and what a full disk does to writes. */
class LinuxAccessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void passwordsAreWiped();
    void reportsAFullDisk_data();
    void reportsAFullDisk();
};

void LinuxAccessTest::passwordsAreWiped()
{
    Log::instance().setStream(Log::Warning, nullptr);
    {
        AccessTokenKeeper keeper;
        for (const int kind : {1, 1, 2})
            (void)keeper.getLoggedOnToken(L"scope", L"bob", password(kind));
        QCOMPARE(find(1), std::make_pair(0, 0)); // replaced
        QCOMPARE(find(2), std::make_pair(2, 0)); // in the cache and in the token
    }
    QCOMPARE(find(2), std::make_pair(0, 0));
}

void LinuxAccessTest::reportsAFullDisk_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("size");
    QTest::addColumn<qint64>("written");
    const QString limited = QStringLiteral("limited");
    const QString full = QStringLiteral("/dev/full");
    QTest::newRow("small enough for a buffer") << full << 5 << qint64(-1);
    QTest::newRow("larger than any buffer") << full << 1000000 << qint64(-1);
    QTest::newRow("full in the middle") << limited << 1500 << qint64(1000);
}

void LinuxAccessTest::reportsAFullDisk()
{
    QFETCH(QString, path);
    QFETCH(int, size);
    QFETCH(qint64, written);
    const QTemporaryDir folder;
    KelFileAccess access(QDir(folder.path()).filePath(path));
    qint64 count = 0;
    connect(&access, &KelFileAccess::writeFinished, this, [&](qint64 result) { count = result; });
    QVERIFY(access.open(QIODevice::WriteOnly, false));
    access.open(QIODevice::WriteOnly, true);

    rlimit before;
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit limit = before;
    limit.rlim_cur = 1000;
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    access.write(QByteArray(size, 'x'));
    access.start();
    QTRY_VERIFY(count != 0);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    QCOMPARE(count, written);
    QVERIFY(access.error() != QFile::NoError);
}

QUARN_TEST(LinuxAccessTest)
#include "LinuxAccessTest.moc"
