#include <Quarn/fileutils/FileUtils.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

using kel::FileUtils;

namespace {

/** A folder that holds empty files of the names in a text, separated by "|". */
class Folder : public QDir
{
public:
    explicit Folder(const char* names)
    {
        setPath(m_folder.path());
        for (const QString& name : QString::fromUtf8(names).split(QLatin1Char('|')))
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
    void exists()
    {
        const auto check = [](const char* entry, const char* name, bool exact, bool byStem) {
            const Folder folder(entry);
            QVERIFY2(FileUtils::exists(folder, QString::fromUtf8(name), true) == exact, name);
            QVERIFY2(FileUtils::exists(folder, QString::fromUtf8(name), false) == byStem, name);
        };
        check("reporting.doc", "report.txt", false, true);
        check("ÄRGER.txt", "ärger.doc", false, true);
        check("x[1].txt", "x[1].txt", true, true);
        check("x1.txt", "x[1].txt", false, false);
        check("abab!c", "a*b!c", false, true);
        check("a-new-b", "a*b?", false, false);
        check("😀\n^($\\", "??^($\\", false, true);
        check(".hidden.txt", ".hidden.txt", true, false);
        check(".cfg", ".cfg", true, true); // no stem, so exactly
        check("b", "sub/b", false, false);
        const Folder folder("a");
        const QString marked = QChar(QChar::ByteOrderMark) + QStringLiteral("abc.txt");
        folder.add(marked);
        QVERIFY(FileUtils::exists(folder, marked, false));
    }

    void uniqueName()
    {
        const QDateTime moment(QDate(2024, 5, 1), QTime(13, 45));
        const auto check = [moment](const char* taken, const char* pattern, const char* format,
                                    bool exact, const char* expected) {
            const QString name = FileUtils::uniqueFileName(
                Folder(taken), QString::fromUtf8(pattern), moment, format, exact);
            QCOMPARE(name, QString::fromUtf8(expected));
            QVERIFY2(name.isNull() == !expected, pattern);
        };
        check("x", "rec %d %t.avi", "_%d", true, "rec 2024-05-01 13.45.avi");
        check("2024-05-01.avi", "%d.avi", "_%d", true, "2024-05-01_2.avi");
        check("a.b.c|a.b_2.c", "a.b.c", "_%d", true, "a.b_3.c");
        check("x", "%d%d %x % %T", "_%d", true, "2024-05-012024-05-01 %x % %T");
        check("snap_13.45", "snap_%t", "_%d", true, "snap_13_2.45");
        check("snap.jpg|snap_20.png", "snap.png", "_%d", false, "snap_3.png");
        check(".cfg|.cfg_2|other", ".cfg", "_%d", false, ".cfg_3");
        check("a[1].x|a(1)_2.x", "a[1].y", "_%d", false, "a[1]_3.y");

        check("a.x", "a.x", " (%03i)", true, "a (002).x");
        check("a.x", "a.x", "%-#6.2lx|", true, "a0x02  |.x");
        check("a.x", "a.x", "-copy", true, "a-copy.x");
        check("a.x", "a.x", "100%%%d%%ü", true, "a100%2%ü.x");
        for (const char* wrong :
             {"%d%d", "%s", "%n", "%c", "%.*d", "%1$d", "%2000000000d", "%d%", "% %"})
            check("a.x", "a.x", wrong, true, nullptr);
        for (const char* endless : {"-copy", "", static_cast<const char*>(nullptr)})
            check("b|b-copy", "b", endless, true, nullptr);
        check("b", "b", ".%d", false, nullptr); // the counter is an extension, the stem stays taken
    }

    void searchAmongMany()
    {
        const Folder folder("a.x|c.x");
        for (int number = 2; number <= 100; ++number) {
            folder.add(QStringLiteral("a_%1.x").arg(number));
            folder.add(QStringLiteral("b:%1.x").arg(number));
            folder.add(QStringLiteral(".d%1").arg(number));
            QVERIFY(QFile::link(QStringLiteral("a.x"),
                                folder.filePath(QStringLiteral("c%1.x").arg(number))));
        }
        QVERIFY(QFile::remove(folder.filePath(QStringLiteral("c60.x"))));
        QVERIFY(QFile::link(QStringLiteral("nowhere"), folder.filePath(QStringLiteral("c60.x"))));
        const auto unique = [&folder](const char* pattern, const char* format) {
            return FileUtils::uniqueFileName(folder, QString::fromUtf8(pattern), format, true);
        };
        QCOMPARE(unique("a.x", "_%d"), QStringLiteral("a_101.x"));
        QCOMPARE(unique("c.x", "%d"), QStringLiteral("c60.x")); // leads nowhere
        folder.add(QStringLiteral(".d"));
        QCOMPARE(unique(".d", "%d"), QStringLiteral(".d101"));
        folder.add(QStringLiteral("b:.x"));
        QCOMPARE(unique("b:.x", "%d"), QStringLiteral("b:101.x"));
    }

    void searchInLargeFolder()
    {
        const QString name = QStringLiteral("[snap][%1].%2");
        const Folder folder("[snap].a");
        for (int number = 2; number <= 5000; ++number) {
            folder.add(name.arg(number).arg(QLatin1Char('a')));
            folder.add(QStringLiteral("other%1").arg(number));
        }
        QElapsedTimer elapsed;
        elapsed.start();
        QCOMPARE(FileUtils::uniqueFileName(folder, QStringLiteral("[snap].b"), "[%d]", false),
                 name.arg(5001).arg(QLatin1Char('b')));
        // 0.1 s as a rule, more without optimization; one listing per name takes most of a minute.
        QVERIFY2(elapsed.elapsed() < 15000, qPrintable(QString::number(elapsed.elapsed())));
    }
};

QTEST_GUILESS_MAIN(NamesTest)
#include "NamesTest.moc"
