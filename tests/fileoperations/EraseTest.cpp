#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <fcntl.h>
#include <sys/resource.h>

#include <atomic>
#include <thread>
#include <tuple>

using namespace kel;
namespace fs = std::filesystem;

/** What erase() answers, and what it leaves. */
class EraseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void erases()
    {
        const std::tuple<Entries, const char*, Entries, bool> rows[]
            = {{{"x"}, "t", {"x"}, false},
               {{"t/"}, "t/", {}, true},
               {{"t/a/b/c", "t/.h/.i", "t/e/", "x"}, "t", {"x"}, true},
               {{"t/a\xff/b\xfe", "t/\xc3"}, "t", {}, true},
               {{"x", "t>x"}, "t", {"x"}, true},
               {{"x/y", "t>x"}, "t", {"t", "x/y"}, false},
               {{"x/y", "t>x"}, "t/", {"t", "x/y"}, false},
               {{"t>x"}, "t", {"t"}, false},
               {{"x/y", "t/a", "t/b>../x", "t/c>../x/y"}, "t", {"t/b", "t/c", "x/y"}, false},
               // The first failure in name order ends it.
               {{"t/c/f", "t/B/p|", "t/B/q", "t/a/f"}, "t", {"t/B/p", "t/c/f"}, false}};
        for (const auto& [before, name, after, erased] : rows) {
            const TemporaryFolder folder;
            const QFileInfo info(folder.at(name));
            QVERIFY(!info.exists()); // which it remembers
            createEntries(folder.root(), before);
            const bool result = FileUtils::erase(info);
            QCOMPARE(entriesOf(folder.root()), after);
            QCOMPARE(result, erased);
        }
    }

    void reachesTheBottom()
    {
        const TemporaryFolder folder;
        const fs::path before = fs::current_path();
        fs::current_path(folder.root().toStdString());
        for (int i = 0; i < 2000; ++i) {
            fs::create_directory("name of some length");
            fs::current_path("name of some length");
        }
        std::ofstream("file").close();
        fs::current_path(before);

        rlimit limit;
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        const rlimit low = {128, limit.rlim_max};
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &low), 0);
        const bool erased = FileUtils::erase(folder.at("name of some length"));
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        QVERIFY(erased && entriesOf(folder.root()).isEmpty());
    }

    void isNotLedAstray()
    {
        Entries files;
        for (int i = 0; i < 20; ++i)
            files << "f" + QByteArray::number(i);
        for (int i = 0; i < 30; ++i) {
            const TemporaryFolder top;
            const QByteArray folder = top.root() + "/t/folder";
            const QByteArray link = top.root() + "/link";
            createEntries(top.root() + "/t", files); // go first, while the folder is swapped
            createEntries(folder, files);
            createEntries(top.root() + "/victim", files);
            createEntries(top.root(), {"link>" + top.root() + "/victim"});
            std::atomic<bool> done{false};
            std::thread swapper([&] {
                while (!done)
                    ::renameat2(AT_FDCWD, folder, AT_FDCWD, link, RENAME_EXCHANGE);
            });
            FileUtils::erase(top.at("t"));
            done = true;
            swapper.join();
            QCOMPARE(entriesOf(top.root() + "/victim").size(), files.size());
        }
    }
};

QTEST_GUILESS_MAIN(EraseTest)
#include "EraseTest.moc"
