#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/fileutils/TempDir.h>

#include <QDateTime>
#include <QTest>

using kel::FileUtils;

/** A folder that holds files of the names in a text, separated by "|". */
struct Folder : TemporaryFolder, QDir
{
    explicit Folder(const QByteArray& names) : QDir(TemporaryFolder::path())
    {
        createEntries(TemporaryFolder::root(), names.split('|'));
    }
};

class NamesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exists()
    {
        const auto check = [](const char* entry, const char* name, bool exact, bool byStem) {
            if (!canCreate(QByteArray(entry).split('|')))
                return;
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
        check("abcd", "[b?d.x", false, true);
        check("bcd", "?b", false, false);
        check("abb-1", "a*b-?.x", false, true); // the star has to try the second b
        check("a|ab", "a?b", false, false); // nor does ? stand for nothing
        check("😀\n^($\\", "??^($\\", false, true);
        check(".hidden.txt", ".hidden.txt", true, false);
        check(".cfg", ".cfg", true, true); // no stem, so exactly
        check("b", "sub/b", false, false);
        check("link>/", "link.txt", false, true);
        check("link>/dev/null", "link.txt", false, true);
        check("link>none", "link.txt", false, false);
        if (!hasPosix)
            return; // Qt's listing drops a byte order mark
        const QString marked = QChar(QChar::ByteOrderMark) + QStringLiteral("abc.txt");
        const Folder folder(marked.toUtf8());
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
        check("a.x", "a.x", "%'d", true, "a2.x");
        check("a.x", "a.x", "-copy", true, "a-copy.x");
        check("a.x", "a.x", "100%%%d%%ü", true, "a100%2%ü.x");
        for (const char* none : {"%d%d", "%s", "%n", "%c", "%.*d", "%1$d", "%2000000000d", "%d%",
                                 "% %", "-copy", "", static_cast<const char*>(nullptr)})
            check("b|b-copy", "b", none, true, nullptr);
        check("b", "b", ".%d", false, nullptr); // the counter is an extension, the stem stays taken
        check("b|b.c2", "b", ".c%d", true, "b.c3");
    }

    void safeNames()
    {
        const QString longest(255, QLatin1Char('n'));
        for (const QString& safe :
             {QStringLiteral("a"), QStringLiteral(".hidden"), QStringLiteral(" -ä😀 (1).tar.gz"),
              QStringLiteral("console"), QStringLiteral("com10.txt"), QStringLiteral("COM"),
              QStringLiteral("comx"), QStringLiteral("a.con"), QStringLiteral("..a"), longest,
              QStringLiteral("ü").repeated(127)}) {
            QVERIFY2(FileUtils::isSafeFileName(safe), qPrintable(safe));
            QCOMPARE(FileUtils::safeFilePath(QDir::root(), safe), QDir::rootPath() + safe);
        }
        QStringList unsafe{QString(), longest + QLatin1Char('n'), QStringLiteral("ü").repeated(128),
                           QString(QChar(0xd83d)), QString(QChar(0xde00)) + QLatin1Char('a')};
        for (const char* name :
             {".",    "..",     "../a",   "a/b",     "a\\b",       "C:",   "a:b",
              "a<",   "a>",     "\"a",    "a|",      "a?",         "a*",   "a.",
              "a ",   "con",    "PRN",    "aux.c",   "nul.tar.gz", "COM1", "lpt9.x",
              "com¹", "LPT³.x", "conIN$", "CONOUT$", "con .x"})
            unsafe << QString::fromUtf8(name);
        for (const int code :
             {0x0, 0x1f, 0x7f, 0x9f, 0xa0, 0x61c, 0x200e, 0x200f, 0x202e, 0x2028, 0x2029, 0x2069})
            unsafe << QLatin1Char('a') + QChar(code);
        for (const QString& name : std::as_const(unsafe)) {
            QVERIFY2(!FileUtils::isSafeFileName(name), qPrintable(name));
            QVERIFY_EXCEPTION_THROWN((void)FileUtils::safeFilePath(QDir::root(), name),
                                     kel::FileException);
        }
    }

    void temporaryFolder()
    {
        const TemporaryFolder parent;
        createEntries(parent.root(), {"kept"});
        {
            kel::TempDir folder(parent.path());
            if (hasPosix)
                QCOMPARE(int(QFile::permissions(folder.path())) & 0x7777, 0x7700);
            createEntries(QFile::encodeName(folder.path()),
                          creatable({"closed/f", "link>../kept", "pipe|", "a/b/c"}));
            kel::TempDir other(parent.path());
            other = std::move(folder);
            kel::TempDir third(std::move(other));
            QCOMPARE(entriesOf(parent.root()).size(), hasPosix ? 6 : 4); // one of the two is empty
            QFile::setPermissions(third.filePath(QStringLiteral("closed")), {});
            third.remove();
            QVERIFY(third.filePath(QStringLiteral("x")).isEmpty()
                    && kel::TempDir(parent.path()).keep().size() > 0);
        }
        const Entries left = entriesOf(parent.root());
        QVERIFY(left.size() == 2 && left[0] == "kept" && left[1].startsWith("temp-"));
        QVERIFY_EXCEPTION_THROWN(kel::TempDir(parent.at("kept")), kel::FileException);
    }

    void searchAmongMany()
    {
        QByteArray names("a.x|c.x|b:.x|.d");
        for (int number = 2; number <= 100; ++number)
            names += QByteArray("|a_#.x|b:#.x|.d#|c#.x>").replace('#', QByteArray::number(number))
                     + (number == 60 ? "nowhere" : "a.x");
        const Folder folder(creatable(names.split('|')).join('|'));
        const auto unique = [&folder](const char* pattern, const char* format, bool exact) {
            return FileUtils::uniqueFileName(folder, QString::fromUtf8(pattern), format, exact);
        };
        QCOMPARE(unique("a.x", "_%d", true), QStringLiteral("a_101.x"));
        QCOMPARE(unique("a.y", "_%d", false), QStringLiteral("a_101.y"));
        QCOMPARE(unique(".d", "%d", true), QStringLiteral(".d101"));
        if (!hasPosix)
            return;
        QCOMPARE(unique("c.x", "%d", true), QStringLiteral("c60.x")); // leads nowhere
        QCOMPARE(unique("b:.x", "%d", true), QStringLiteral("b:101.x"));
    }
};

QTEST_GUILESS_MAIN(NamesTest)
#include "NamesTest.moc"
