#include "Entries.h"
#include "support/TestRegistry.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

using namespace kel;

/** What erase() answers, and what it leaves. */
class EraseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void erases_data();
    void erases();
    void looksAfresh();
    void reachesTheBottom();
    void isNotLedAstray();

private:
    QByteArray root() const { return m_folder->nativePath(); }

    std::unique_ptr<TemporaryFolder> m_folder;
};

void EraseTest::init()
{
    m_folder = std::make_unique<TemporaryFolder>();
}

void EraseTest::erases_data()
{
    QTest::addColumn<Entries>("before");
    QTest::addColumn<QString>("name");
    QTest::addColumn<Entries>("after");
    QTest::addColumn<bool>("result");
    const auto row = [](const char* title, const Entries& before, const char* name,
                        const Entries& after, bool result) {
        QTest::newRow(title) << before << QString::fromLatin1(name) << after << result;
    };
    row("nothing", {"x"}, "t", {"x"}, false);
    row("file", {"t", "x"}, "t", {"x"}, true);
    row("empty folder", {"t/"}, "t/", {}, true);
    row("tree", {"t/a/b/c", "t/.h/.i", "t/e/", "x"}, "t", {"x"}, true);
    row("broken UTF-8", {"t/a\xff/b\xfe", "t/\xc3"}, "t", {}, true);
    row("link to a file", {"x", "t>x"}, "t", {"x"}, true);
    row("link to a folder", {"x/y", "t>x"}, "t", {"t", "x/y"}, false);
    row("link to a folder with a slash", {"x/y", "t>x"}, "t/", {"t", "x/y"}, false);
    row("link to nowhere", {"t>x"}, "t", {"t"}, false);
    row("links inside", {"x/y", "t/a", "t/b>../x", "t/c>../x/y", "t/d"}, "t", {"t/b", "t/c", "x/y"},
        false);
    row("pipe inside", {"t/a", "t/b|", "t/c"}, "t", {"t/b"}, false);
    row("first failure in name order", {"t/c/f", "t/B/p|", "t/B/q", "t/a/f"}, "t",
        {"t/B/p", "t/c/f"}, false);
}

void EraseTest::erases()
{
    QFETCH(Entries, before);
    QFETCH(QString, name);
    createEntries(root(), before);
    QTEST(FileUtils::erase(m_folder->filePath(name)), "result");
    QTEST(entriesOf(root()), "after");
}

void EraseTest::looksAfresh()
{
    createEntries(root(), {"t"});
    const QFileInfo info(m_folder->filePath(QStringLiteral("t")));
    QVERIFY(info.isFile());
    QVERIFY(QFile::remove(info.filePath()));
    createEntries(root(), {"t/a"});
    QVERIFY(info.isFile()); // remembered
    QVERIFY(FileUtils::erase(info));
}

void EraseTest::reachesTheBottom()
{
    constexpr int depth = 2000;
    int folder = ::open(root().constData(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < depth; ++i) {
        QCOMPARE(::mkdirat(folder, "name of some length", 0755), 0);
        const int below = ::openat(folder, "name of some length", O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = below;
    }
    ::close(::openat(folder, "file", O_CREAT | O_WRONLY, 0644));
    ::close(folder);

    rlimit limit;
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit low = {128, limit.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &low), 0);
    const bool erased = FileUtils::erase(m_folder->filePath(QStringLiteral("name of some length")));
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    QVERIFY(erased);
}

void EraseTest::isNotLedAstray()
{
    Entries files;
    for (int i = 0; i < 20; ++i)
        files << "f" + QByteArray::number(i);
    for (int i = 0; i < 30; ++i) {
        const QByteArray top = root() + '/' + QByteArray::number(i);
        const QByteArray folder = top + "/t/folder";
        const QByteArray link = top + "/link";
        createEntries(folder, files);
        createEntries(top + "/victim", files);
        createEntries(top, {"link>victim"});
        std::atomic<bool> done{false};
        std::thread swapper([&] {
            while (!done)
                ::renameat2(AT_FDCWD, folder.constData(), AT_FDCWD, link.constData(),
                            RENAME_EXCHANGE);
        });
        FileUtils::erase(QFile::decodeName(top + "/t"));
        done = true;
        swapper.join();
        QCOMPARE(entriesOf(top + "/victim").size(), files.size());
    }
}

QUARN_TEST(EraseTest)
#include "EraseTest.moc"
