#include "support/TestRegistry.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

using kel::FileUtils;

namespace {

const QDateTime moment(QDate(2024, 5, 1), QTime(13, 45));

/** A folder that holds empty files of the names in a text, separated by "|". */
class Folder : public QDir
{
public:
    explicit Folder(const QString& names)
    {
        setPath(m_folder.path());
        for (const QString& name : names.split(QLatin1Char('|')))
            add(name);
    }

    void add(const QString& name) const
    {
        if (!QFile(filePath(name)).open(QIODevice::WriteOnly))
            qFatal("%s cannot be created.", qPrintable(name));
    }

private:
    const QTemporaryDir m_folder;
};

} // namespace

class NamesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exists_data();
    void exists();
    void uniqueName_data();
    void uniqueName();
    void presentMoment();
    void counterFormat_data();
    void counterFormat();
    void searchThatNoCounterEnds();
    void searchInLargeFolder();
};

void NamesTest::exists_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("exact");
    QTest::addColumn<bool>("byStem");
    const auto row = [](const char* entry, const char* name, bool exact, bool byStem) {
        QTest::addRow("%s beside %s", name, entry)
            << QString::fromUtf8(entry) << QString::fromUtf8(name) << exact << byStem;
    };
    row("a.log", "a.txt", false, true);
    row("reporting.doc", "report.txt", false, true);
    row("repor", "report.txt", false, false);
    row("ÄRGER.txt", "ärger.doc", false, true);
    row("x[1].txt", "x[1].txt", true, true);
    row("x_1_.txt", "x[1].txt", false, true);
    row("x1.txt", "x[1].txt", false, false);
    row("abab!c", "a*b!c", false, true);
    row("a-new-b", "a*b?", false, false);
    row("😀\n^($\\", "??^($\\", false, true);
    row(".hidden.txt", ".hidden.txt", true, false);
    row(".cfg", ".cfg", true, true); // no stem, so exactly
    row("anything", ".cfg", false, false);
    row("b", "sub/b", false, false);
}

void NamesTest::exists()
{
    QFETCH(QString, entry);
    QFETCH(QString, name);
    const Folder folder(entry);
    QTEST(FileUtils::exists(folder, name, true), "exact");
    QTEST(FileUtils::exists(folder, name, false), "byStem");
}

void NamesTest::uniqueName_data()
{
    QTest::addColumn<QString>("taken");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("exact");
    const auto row = [](const char* taken, const char* pattern, bool exact, const char* expected) {
        QTest::newRow(expected) << QString::fromLatin1(taken) << QString::fromLatin1(pattern)
                                << exact;
    };
    row("x", "rec %d %t.avi", true, "rec 2024-05-01 13.45.avi");
    row("rec 2024-05-01 13.45.avi", "rec %d %t.avi", true, "rec 2024-05-01 13.45_2.avi");
    row("a.b.c|a.b_2.c", "a.b.c", true, "a.b_3.c");
    row("x", "%d%d %x % %T", true, "2024-05-012024-05-01 %x % %T");
    row("snap_13.45", "snap_%t", true, "snap_13_2.45");
    row(".cfg", ".cfg", true, ".cfg_2");
    row("snap.jpg|snap_20.png", "snap.png", false, "snap_3.png");
    row(".cfg|.cfg_2|other", ".cfg", false, ".cfg_3");
    row("a[1].x|a(1)_2.x", "a[1].y", false, "a[1]_3.y");
}

void NamesTest::uniqueName()
{
    QFETCH(QString, taken);
    QFETCH(QString, pattern);
    QFETCH(bool, exact);
    QCOMPARE(FileUtils::uniqueFileName(Folder(taken), pattern, moment, "_%d", exact),
             QLatin1String(QTest::currentDataTag()));
}

void NamesTest::presentMoment()
{
    const QDateTime before = QDateTime::currentDateTime();
    const QString name = FileUtils::uniqueFileName(Folder(QStringLiteral("x")),
                                                   QStringLiteral("%d %t"), "_%d", true);
    const QDateTime named = QDateTime::fromString(name, QStringLiteral("yyyy-MM-dd hh.mm"));
    QVERIFY(named >= before.addSecs(-60) && named <= QDateTime::currentDateTime());
}

void NamesTest::counterFormat_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QString>("expected"); // null for none
    const auto row = [](const char* format, const char* expected) {
        QTest::newRow(format) << QByteArray(format) << QString::fromUtf8(expected);
    };
    row(" (%03i)", "a (002).x");
    row("%-4u|", "a2   |.x");
    row("%#x", "a0x2.x");
    row("%.4o", "a0002.x");
    row("%ld", "a2.x");
    row("100%%%d%%ü", "a100%2%ü.x");
    row("-copy", "a-copy.x");
    row("%d%d", nullptr);
    row("%s", nullptr);
    row("%n", nullptr);
    row("%c", nullptr);
    row("%.*d", nullptr);
    row("%1$d", nullptr);
    row("%2000000000d", nullptr);
    row("%d%", nullptr);
    row("% %", nullptr);
}

void NamesTest::counterFormat()
{
    QFETCH(QByteArray, format);
    const QString name = QStringLiteral("a.x");
    QTEST(FileUtils::uniqueFileName(Folder(name), name, moment, format.constData(), true),
          "expected");
}

void NamesTest::searchThatNoCounterEnds()
{
    const QString name = QStringLiteral("b");
    const Folder folder(QStringLiteral("b|b-copy"));
    QVERIFY(FileUtils::uniqueFileName(folder, name, moment, "-copy", true).isNull());
    QVERIFY(FileUtils::uniqueFileName(folder, name, moment, "", true).isNull());
    QVERIFY(FileUtils::uniqueFileName(folder, name, moment, nullptr, true).isNull());
    // The counter becomes the extension, and the stem stays taken.
    QVERIFY(FileUtils::uniqueFileName(folder, name, moment, ".%d", false).isNull());
}

void NamesTest::searchInLargeFolder()
{
    const QString name = QStringLiteral("[snap][%1].%2");
    const Folder folder(QStringLiteral("[snap].a"));
    for (int number = 2; number <= 5000; ++number) {
        folder.add(name.arg(number).arg(QLatin1Char('a')));
        folder.add(QStringLiteral("other%1").arg(number));
    }
    QElapsedTimer elapsed;
    elapsed.start();
    const QString pattern = QStringLiteral("[snap].b");
    QCOMPARE(FileUtils::uniqueFileName(folder, pattern, "[%d]", false),
             name.arg(5001).arg(QLatin1Char('b')));
    // 0.1 s as a rule, more without optimization; one listing per name takes most of a minute.
    QVERIFY2(elapsed.elapsed() < 15000, qPrintable(QString::number(elapsed.elapsed())));
}

QUARN_TEST(NamesTest)
#include "NamesTest.moc"
