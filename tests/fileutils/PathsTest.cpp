#include "support/TemporaryFolder.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDir>
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
        const TemporaryFolder folder;
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
};

QTEST_GUILESS_MAIN(PathsTest)
#include "PathsTest.moc"
