#include <Quarn/fileutils/FileUtils.h>

#include <QTemporaryDir>
#include <QTest>

using kel::FileUtils;

class PathsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts()
    {
        const auto fileName = [](const char* name, const char* expected) {
            QCOMPARE(FileUtils::nativeFileName(QString::fromUtf8(name)), QLatin1String(expected));
        };
        fileName("AZaz09,^&'@{}[]$=!-#()%.+~_", "AZaz09,^&'@{}[]$=!-#()%.+~_");
        fileName(" \"*/:;<>?\\`|\t\x7f", "______________");
        fileName("Grüße (1).txt", "Gr__e_(1).txt");
        fileName("Łа", "__"); // the low bytes are ASCII
        fileName("a😀b", "a__b");

        const auto server = [](const char* path, const char* expected) {
            const QString name = FileUtils::serverFromUNCPath(QLatin1String(path));
            QVERIFY2(name == QLatin1String(expected) && name.isNull() == !expected, path);
        };
        server("\\\\srv\\share/dir", "srv");
        server("\\\\srv", "");
        server("\\\\srv/share", "");
        server("\\\\srv/share\\dir", "srv");
        server("//srv/share", nullptr);
        server("C:\\dir", nullptr);

        const auto extension = [](const char* name, const char* expected, const char* stem) {
            const QString path = QLatin1String(name), stripped = QLatin1String(stem);
            const QString log = QStringLiteral("log");
            QCOMPARE(FileUtils::extension(path), QLatin1String(expected));
            QCOMPARE(FileUtils::replaceExtension(path, log), stripped + QLatin1String(".log"));
            QCOMPARE(FileUtils::replaceExtension(path, QString()), stripped);
        };
        extension("archive.tar.gz", "gz", "archive.tar");
        extension("dir.d/file", "", "dir.d/file");
        extension("dir.d\\file", "", "dir.d\\file");
        extension(".profile", "profile", "");
        extension("file.", "", "file");
    }

    void pathsInTheFileSystem()
    {
        const QTemporaryDir folder;
        const QString top = QFileInfo(folder.path()).canonicalFilePath();
        const QString real = top + QLatin1String("/real"), none = top + QLatin1String("/none");
        QVERIFY(QDir().mkdir(real) && QFile::link(real, top + QLatin1String("/link")));
        QCOMPARE(FileUtils::canonicalFilePath(top + QLatin1String("\\real/..\\link")), real);
        QCOMPARE(FileUtils::canonicalFilePath(top + QLatin1String("\\none")), none);
        QVERIFY(FileUtils::canonicalFilePath(QLatin1String("")).isNull());
        QCOMPARE(FileUtils::absoluteFilePath(top, QStringLiteral("none")), none);
        QCOMPARE(FileUtils::absoluteFilePath(top, real), real);
        QCOMPARE(FileUtils::absoluteFilePath(QStringLiteral("x"), QStringLiteral("y")),
                 QDir::currentPath() + QLatin1String("/x/y"));
    }

    void nativePathSearchesFolders()
    {
        const QTemporaryDir first, second;
        const QString before = QDir::currentPath(), name = QStringLiteral("program");
        QVERIFY(QDir(second.path()).mkdir(name) && QDir::setCurrent(second.path()));
        const QString found = second.filePath(name).replace(QLatin1Char('/'), QLatin1Char('\\'));
        const QString folders = first.path() + QLatin1String("%1;") + second.path();
        QCOMPARE(FileUtils::nativePath(name, folders.arg(QString())), found);
        QCOMPARE(FileUtils::nativePath(name, folders.arg(QLatin1Char(';'))),
                 QStringLiteral(".\\program"));
        QCOMPARE(FileUtils::nativePath(QStringLiteral("./no/../x/"), folders),
                 QStringLiteral(".\\no\\..\\x\\"));
        QVERIFY(QDir::setCurrent(before));
    }
};

QTEST_GUILESS_MAIN(PathsTest)
#include "PathsTest.moc"
