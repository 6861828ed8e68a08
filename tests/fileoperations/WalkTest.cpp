#include "support/Entries.h"
#include "support/ResourceLimit.h"
#include "support/TemporaryFolder.h"
#include "support/Thread.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QBuffer>
#include <QTest>

#include <cstdio>
#include <tuple>

using namespace kel;

/** The walks through a tree: sizes added up, files collected, everything erased. */
class WalkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addsSizes()
    {
        const QDir::Filters all = QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot;
        const QStringList texts(QStringLiteral("*.txt"));
        const TemporaryFolder folder;
        createEntries(folder.root(),
                      creatable({"t/a.txt", "t/b", "t/s/d.txt", "t/s/u/e", "t/s/u/up>../..",
                                 "t/z>s", "x/f.txt", "t/s/x>../../x"}));
        if (hasPosix)
            createEntries(folder.root(), {"t/.c"}); // hidden by its name
        const int linked = hasPosix ? 8 : 0, hidden = linked;
        const auto size = [&](const QStringList& names, QDir::Filters filters, bool recursive) {
            return FileUtils::dirSize(QDir(folder.at("t")), names, filters, recursive);
        };
        QCOMPARE(size({}, all, false), 16);
        QCOMPARE(size({}, all, true), 32 + linked); // each folder once
        QCOMPARE(size({}, QDir::Files | QDir::Dirs, true), 32 + linked);
        QCOMPARE(size({}, all | QDir::NoSymLinks, true), 32);
        QCOMPARE(size({}, all | QDir::Hidden, true), 32 + linked + hidden);
        QCOMPARE(size(texts, all, true), 8); // names of folders, too
        QCOMPARE(size(texts, all | QDir::AllDirs, true), 16 + linked);
        // Without names the folder's own count, there but not below.
        QCOMPARE(FileUtils::dirSize(QDir(folder.at("t"), texts.first()), {}, all, true), 8);
    }

    void findsFiles()
    {
        const std::tuple<const char*, bool, QDir::SortFlags, const char*> rows[]
            = {{"*.j;;*.p;;", true, QDir::Name, "a.j m/b.j m/k/c.p m/l.j m/n/o.j m/n/y/z.p x.p"},
               {"*.j;;*.p", true, QDir::Reversed, "x.p n/y/z.p n/o.j m/l.j m/k/c.p m/b.j a.j"},
               {"*.j;;*.p", false, QDir::Name, "a.j x.p"},
               {"", true, QDir::DirsLast,
                "a.j n.t x.p m/D.E m/b.j m/c.e m/l.j m/\u00c4.e m/k/c.p m/n/o.j m/n/y/z.p p.j/q"},
               {"*.e", true, QDir::NoSort, "m/c.e m/D.E m/\u00c4.e"}};
        const TemporaryFolder folder;
        createEntries(
            folder.root(),
            creatable({"t/a.j", "t/l>m", "t/m/b.j", "t/m/k/c.p", "t/m/k/up>../..", "t/m/l.j",
                       "t/m/n>../../x", "t/m/D.E", "t/m/c.e", "t/m/\u00c4.e", "t/n>../x", "t/n.t",
                       "t/p.j/q", "t/x.p", "t/y>none", "x/o.j", "x/y>../z", "z/z.p"}));
        if (hasPosix)
            createEntries(folder.root(), {"t/.h.j"}); // hidden by its name
        const QDir top(folder.at("t"));
        for (const auto& [patterns, deep, sort, expected] : rows) {
            QStringList names;
            for (const auto& file : FileUtils::findFiles(top, QLatin1String(patterns), deep, sort))
                names << top.relativeFilePath(file.absoluteFilePath());
            QStringList all = QString::fromUtf8(expected).split(QLatin1Char(' '));
            if (!hasPosix) // behind links
                all.erase(std::remove_if(all.begin(), all.end(),
                                         [](const QString& name) {
                                             return name.contains(QLatin1String("n/"));
                                         }),
                          all.end());
            QCOMPARE(names, all);
        }
    }

    /** The system reads a path up to a zero character; what stands in front is not meant. */
    void actsOnNoFrontOfAPath()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"d/f", "f"});
        const QString zero = folder.at("f") + QChar(QChar::Null);
        const QDir dir(folder.at("d") + QChar(QChar::Null));
        QBuffer device;
        QVERIFY(device.open(QIODevice::ReadWrite));
        QVERIFY(!FileUtils::erase(zero) && !FileUtils::exists(dir, QStringLiteral("f"), false));
        QVERIFY(FileUtils::findFiles(dir, QString(), true, QDir::Name).isEmpty());
        QVERIFY(FileUtils::dirSize(dir, {}, QDir::Files, false) == 0);
        QVERIFY(FileUtils::copy(zero, &device, 9, 0) == 0
                && FileUtils::copy(&device, zero, 9, 0) == 0);
        QVERIFY_EXCEPTION_THROWN((void)FileUtils::writeBytes("x", zero), FileException);
        FileUtils::comment(zero, QStringLiteral("text"));
        QVERIFY(FileUtils::comment(folder.at("f")).isEmpty());
        QVERIFY(FileUtils::equalsText(folder.at("f"), QStringLiteral("contents")));
    }

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
            if (!canCreate(before))
                continue;
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

    void reachesTheBottomAndBeyondFourGigabytes()
    {
        const TemporaryFolder folder;
        const auto finds = [dir = QDir(folder.path())] {
            return FileUtils::findFiles(dir, QStringLiteral("f"), true, QDir::Name).size() == 1
                   && FileUtils::dirSize(dir, {}, QDir::Files | QDir::Dirs, true) == 5ll << 30;
        };
        if (!hasPosix) { // no path gets too long there
            const QString deep = folder.at("t") + QStringLiteral("/above").repeated(50);
            QFile file(deep + QStringLiteral("/f"));
            QVERIFY(QDir().mkpath(deep) && file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(5ll << 30) && finds());
            file.close();
            QVERIFY(FileUtils::erase(folder.at("t")) && entriesOf(folder.root()).isEmpty());
            return;
        }
        const QByteArray top = folder.root() + "/t", above = folder.root() + "/above";
        createEntries(top, {"f"});
        QVERIFY(QFile::resize(folder.at("t/f"), 5ll << 30)); // takes no room
        for (int depth = 1; depth <= 2500; ++depth) { // from the inside out: the path gets too long
            createEntries(above, {""});
            QVERIFY(::rename(top, above + "/t") == 0 && ::rename(above, top) == 0);
            QVERIFY(depth != 1950 || finds());
        }
        const ResourceLimit low(ResourceLimit::OpenFiles, 40);
        QVERIFY(FileUtils::erase(folder.at("t")) && entriesOf(folder.root()).isEmpty());
    }
};

QTEST_GUILESS_MAIN(WalkTest)
#include "WalkTest.moc"
