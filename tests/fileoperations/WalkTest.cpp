#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QBuffer>
#include <QTest>

#include <tuple>

using namespace kel;

/** The walks through a tree: sizes added up, files collected. */
class WalkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addsSizes()
    {
        const QDir::Filters all = QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot;
        const QDir::Filters dots = QDir::Files | QDir::AllDirs;
        const QStringList texts(QStringLiteral("*.txt"));
        const TemporaryFolder folder;
        createEntries(folder.root(), {"t/a.txt", "t/b", "t/.c", "t/s/d.txt", "t/s/u/e",
                                      "t/s/u/up>../..", "t/z>s", "x/f.txt", "t/s/x>../../x"});
        const auto size = [&](const QStringList& names, QDir::Filters filters, bool recursive) {
            return FileUtils::dirSize(QDir(folder.at("t")), names, filters, recursive);
        };
        QCOMPARE(size({}, all, false), 16);
        QCOMPARE(size({}, all, true), 40); // each folder once
        QCOMPARE(size({}, dots, true), 40);
        QCOMPARE(size({}, all | QDir::NoSymLinks, true), 32);
        QCOMPARE(size({}, all | QDir::Hidden, true), 48);
        QCOMPARE(size(texts, all, true), 8); // names of folders, too
        QCOMPARE(size(texts, dots | QDir::NoDotAndDotDot, true), 24);
        // Without names the folder's own count, there but not below.
        QCOMPARE(FileUtils::dirSize(QDir(folder.at("t"), texts.first()), {}, all, true), 8);
    }

    void findsFiles()
    {
        const QDir::SortFlags ignoringCase = QDir::Name | QDir::IgnoreCase;
        const std::tuple<const char*, bool, QDir::SortFlags, const char*> rows[]
            = {{"*.jpg;;*.png;;", true, QDir::Name,
                "a.jpg m/b.jpg m/k/c.png m/k/n/o.jpg m/k/n/y/z.png m/l.jpg x.png"},
               {"*.jpg;;*.png;;", true, QDir::Name | QDir::Reversed,
                "x.png n/y/z.png n/o.jpg m/l.jpg m/k/c.png m/b.jpg a.jpg"},
               {"*.jpg;;*.png;;", true, QDir::Name | QDir::DirsFirst,
                "m/k/n/y/z.png m/k/n/o.jpg m/k/c.png m/b.jpg m/l.jpg a.jpg x.png"},
               {"*.jpg;;*.png;;", false, QDir::Name, "a.jpg x.png"},
               {"", true, QDir::Name,
                "a.jpg m/D.JPEG m/b.jpg m/c.jpeg m/k/c.png m/k/n/o.jpg m/k/n/y/z.png m/l.jpg "
                "m/\u00c4.jpeg "
                "n.txt p.jpg/q.txt x.png"},
               {"*.jpeg", true, QDir::NoSort, "m/c.jpeg m/D.JPEG m/\u00c4.jpeg"},
               {"*.jpeg", true, ignoringCase, "m/c.jpeg m/D.JPEG m/\u00c4.jpeg"}};
        const TemporaryFolder folder;
        createEntries(folder.root(),
                      {"t/a.jpg", "t/.h.jpg", "t/l>m", "t/m/b.jpg", "t/m/k/c.png", "t/m/k/up>../..",
                       "t/m/k/n>../../../x", "t/m/l.jpg", "t/m/D.JPEG", "t/m/c.jpeg",
                       "t/m/\u00c4.jpeg", "t/n>../x", "t/n.txt", "t/p.jpg/q.txt", "t/x.png",
                       "t/y>x/nowhere", "x/o.jpg", "x/y>../z", "z/z.png"});
        const QDir top(folder.at("t"));
        for (const auto& [patterns, recursive, sort, expected] : rows) {
            QStringList names;
            const QList<QFileInfo> files
                = FileUtils::findFiles(top, QString::fromLatin1(patterns), recursive, sort);
            for (const QFileInfo& file : files)
                names << top.relativeFilePath(file.absoluteFilePath());
            QCOMPARE(names.join(QLatin1Char(' ')), QString::fromUtf8(expected));
        }
    }

    /** The system reads a path up to a zero character; what stands in front is not meant. */
    void actsOnNoFrontOfAPath()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"d/f", "f"});
        const QString plain = folder.at("f");
        const QString file = plain + QChar(QChar::Null) + QLatin1Char('x');
        const QDir dir(folder.at("d") + QChar(QChar::Null));
        FileUtils::comment(plain, QStringLiteral("kept"));
        QBuffer device;
        QVERIFY(device.open(QIODevice::ReadWrite));
        device.setData("data");

        QVERIFY(!FileUtils::erase(file) && !FileUtils::erase(dir.path()));
        QCOMPARE(FileUtils::dirSize(dir, {}, QDir::Files, false), 0);
        QVERIFY(FileUtils::findFiles(dir, QString(), true, QDir::Name).isEmpty());
        QVERIFY(!FileUtils::exists(dir, QStringLiteral("f"), false));
        QCOMPARE(FileUtils::copy(file, folder.at("copy"), 100, 0), 0);
        QCOMPARE(FileUtils::copy(folder.at("d/f"), file, 100, 0), 0);
        QCOMPARE(FileUtils::copy(file, &device, 100, 0), 0);
        QCOMPARE(FileUtils::copy(&device, file, 100, 0), 0);
        QVERIFY_EXCEPTION_THROWN(FileUtils::readText(file), FileException);
        QVERIFY_EXCEPTION_THROWN(FileUtils::readBytes(file), FileException);
        QVERIFY_EXCEPTION_THROWN(FileUtils::writeBytes("x", file), FileException);
        QVERIFY_EXCEPTION_THROWN(FileUtils::fileMustExist(file), FileException);
        FileUtils::comment(file, QStringLiteral("lost"));
        QVERIFY(FileUtils::comment(file).isEmpty());
        QCOMPARE(FileUtils::comment(plain), QStringLiteral("kept"));
        QCOMPARE(FileUtils::readBytes(plain), "contents");
        QVERIFY(entriesOf(folder.root()).contains("d/f"));
    }

    void reachesTheBottomAndBeyondFourGigabytes()
    {
        const TemporaryFolder folder;
        const QByteArray path = QByteArray("d/").repeated(1950) + 'f';
        createEntries(folder.root(), {path});
        QVERIFY(QFile::resize(folder.at(path), 5ll << 30)); // takes no room
        const QDir top(folder.path());
        QCOMPARE(FileUtils::findFiles(top, QStringLiteral("f"), true, QDir::Name).size(), 1);
        QCOMPARE(FileUtils::dirSize(top, {}, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, true),
                 5ll << 30);
    }
};

QTEST_GUILESS_MAIN(WalkTest)
#include "WalkTest.moc"
