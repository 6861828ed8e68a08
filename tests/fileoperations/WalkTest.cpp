#include "Entries.h"
#include "support/TestRegistry.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

using namespace kel;

/** The walks through a tree: sizes added up, files collected. */
class WalkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addsSizes_data();
    void addsSizes();
    void addsBeyondTwoGigabytes();
    void findsFiles_data();
    void findsFiles();
    void reachesTheBottom();
};

void WalkTest::addsSizes_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<int>("filters");
    QTest::addColumn<bool>("recursive");
    QTest::addColumn<int>("files");
    const int all = QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot;
    const int dots = QDir::Files | QDir::AllDirs;
    const QStringList txt{QStringLiteral("*.txt")};
    QTest::newRow("top") << QStringList() << all << false << 2;
    QTest::newRow("tree, each folder once") << QStringList() << all << true << 5;
    QTest::newRow("with dots") << QStringList() << dots << true << 5;
    QTest::newRow("without links") << QStringList() << (all | QDir::NoSymLinks) << true << 4;
    QTest::newRow("hidden") << QStringList() << (all | QDir::Hidden) << true << 6;
    QTest::newRow("names of files and folders") << txt << all << true << 1;
    QTest::newRow("names of files") << txt << (dots | QDir::NoDotAndDotDot) << true << 3;
}

void WalkTest::addsSizes()
{
    QFETCH(QStringList, names);
    QFETCH(int, filters);
    QFETCH(bool, recursive);
    const TemporaryFolder folder;
    createEntries(folder.nativePath(), {"t/a.txt", "t/b", "t/.c", "t/s/d.txt", "t/s/u/e",
                                        "t/s/u/up>../..", "t/z>s", "x/f.txt", "t/s/x>../../x"});
    const qint64 size = qint64(strlen("contents"));
    const QDir top(folder.filePath(QStringLiteral("t")));
    QFETCH(int, files);
    QCOMPARE(FileUtils::dirSize(top, names, QDir::Filters(filters), recursive), files * size);
    if (!names.isEmpty())
        return;
    // Without names the folder's own count, there but not below.
    QDir named(top.path(), QStringLiteral("*.txt"));
    QCOMPARE(FileUtils::dirSize(named, names, QDir::Files, recursive), size);
}

void WalkTest::addsBeyondTwoGigabytes()
{
    const TemporaryFolder folder;
    const qint64 size = 3ll << 30;
    for (const QString& name : {QStringLiteral("a"), QStringLiteral("b")}) {
        QFile file(folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(size)); // takes no room
    }
    QCOMPARE(FileUtils::dirSize(QDir(folder.path()), {}, QDir::Files, false), 2 * size);
}

void WalkTest::findsFiles_data()
{
    QTest::addColumn<QString>("patterns");
    QTest::addColumn<bool>("recursive");
    QTest::addColumn<int>("sort");
    QTest::addColumn<QString>("found");
    const QString pictures = QStringLiteral("*.jpg;;*.png;;");
    QTest::newRow("tree by name") << pictures << true << int(QDir::Name)
                                  << QStringLiteral("a.jpg m/b.jpg m/k/c.png m/l.jpg x.png");
    QTest::newRow("backwards") << pictures << true << int(QDir::Name | QDir::Reversed)
                               << QStringLiteral("x.png m/l.jpg m/k/c.png m/b.jpg a.jpg");
    QTest::newRow("folders first") << pictures << true << int(QDir::Name | QDir::DirsFirst)
                                   << QStringLiteral("m/k/c.png m/b.jpg m/l.jpg a.jpg x.png");
    QTest::newRow("top only") << pictures << false << int(QDir::Name)
                              << QStringLiteral("a.jpg x.png");
    QTest::newRow("everything") << QString() << true << int(QDir::Name)
                                << QStringLiteral(
                                       "a.jpg m/b.jpg m/k/c.png m/l.jpg n.txt p.jpg/q.txt x.png");
    QTest::newRow("no match") << QStringLiteral("*.gif") << true << int(QDir::Name) << QString();
}

void WalkTest::findsFiles()
{
    QFETCH(QString, patterns);
    QFETCH(bool, recursive);
    QFETCH(int, sort);
    const TemporaryFolder folder;
    createEntries(folder.nativePath(), {"a.jpg", ".h.jpg", "m/b.jpg", "m/k/c.png", "m/k/up>../..",
                                        "m/l.jpg", "n.txt", "p.jpg/q.txt", "x.png", "y>x/nowhere"});
    const QDir top(folder.path());
    QStringList found;
    const QList<QFileInfo> files
        = FileUtils::findFiles(top, patterns, recursive, QDir::SortFlags(sort));
    for (const QFileInfo& file : files)
        found << top.relativeFilePath(file.absoluteFilePath());
    QTEST(found.join(QLatin1Char(' ')), "found");
}

void WalkTest::reachesTheBottom()
{
    const TemporaryFolder folder;
    createEntries(folder.nativePath(), {QByteArray("d/").repeated(1950) + "f"});
    const QDir top(folder.path());
    QCOMPARE(FileUtils::findFiles(top, QStringLiteral("f"), true, QDir::Name).size(), 1);
    QCOMPARE(FileUtils::dirSize(top, {}, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, true),
             qint64(strlen("contents")));
    QVERIFY(FileUtils::erase(folder.filePath(QStringLiteral("d"))));
}

QUARN_TEST(WalkTest)
#include "WalkTest.moc"
