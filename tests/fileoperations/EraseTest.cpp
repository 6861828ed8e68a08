#include "support/Entries.h"
#include "support/TemporaryFolder.h"
#include "support/Thread.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <sys/resource.h>

#include <cstdio>
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
            createEntries(folder.root(), {"t"});
            const QFileInfo info(folder.at(name));
            QCOMPARE(info.isFile(), name == QByteArray("t")); // which it remembers
            QVERIFY(QFile::remove(folder.at("t")));
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
        const rlimit low = {40, limit.rlim_max};
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &low), 0);
        const bool erased = FileUtils::erase(folder.at("name of some length"));
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        QVERIFY(erased && entriesOf(folder.root()).isEmpty());
    }

    void shares()
    {
        for (int round = 0; round < 3; ++round) {
            const TemporaryFolder folder;
            Entries entries;
            for (int i = 1000; i < 1400; ++i)
                entries << QByteArray::number(i) + (i % 2 ? "/" : "");
            createEntries(folder.root() + "/t", entries);
            // Goes the other way, so that they meet; what one has deleted the other finds gone.
            Thread other([&] {
                for (auto entry = entries.crbegin(); entry != entries.crend(); ++entry)
                    ::remove(folder.root() + "/t/" + *entry);
            });
            other.start();
            QVERIFY(FileUtils::erase(folder.at("t")));
        }
    }
};

QTEST_GUILESS_MAIN(EraseTest)
#include "EraseTest.moc"
