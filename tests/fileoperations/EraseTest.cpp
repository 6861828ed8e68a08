#include "support/Entries.h"
#include "support/TemporaryFolder.h"
#include "support/Thread.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <sys/resource.h>

#include <cstdio>
#include <tuple>

using namespace kel;

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
            QCOMPARE(FileUtils::erase(info), erased);
            QCOMPARE(entriesOf(folder.root()), after);
        }
    }

    void reachesTheBottom()
    {
        const TemporaryFolder folder;
        const QByteArray top = folder.root() + "/t";
        const QByteArray above = folder.root() + "/above";
        createEntries(top, {"f"});
        for (int i = 0; i < 2500; ++i) { // from the inside out: the path gets too long
            createEntries(above, {""});
            QVERIFY(::rename(top, above + "/t") == 0 && ::rename(above, top) == 0);
        }
        const rlimit low = {40, 40};
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &low), 0);
        QVERIFY(FileUtils::erase(folder.at("t")) && entriesOf(folder.root()).isEmpty());
    }

    void findsEntriesGone()
    {
        const TemporaryFolder folder;
        for (int i = 1000; i < 2000; ++i)
            createEntries(folder.root(), {"t/" + QByteArray::number(i) + (i % 2 ? "/" : "")});
        Thread other([&] {
            for (int i = 2000; i-- > 1000;) // the other way, so that they meet
                ::remove(folder.root() + "/t/" + QByteArray::number(i));
        });
        other.start();
        QVERIFY(FileUtils::erase(folder.at("t")));
    }
};

QTEST_GUILESS_MAIN(EraseTest)
#include "EraseTest.moc"
