#include "support/TestRegistry.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QTemporaryDir>
#include <QTest>

using kel::FileUtils;

class PathsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data();
    void texts();
    void pathsInTheFileSystem();
    void nativePathSearchesFolders();
};

void PathsTest::texts_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");
    const auto text = [](const char* utf8) { return QString::fromUtf8(utf8); };

    const auto fileName = [text](const char* name, const char* expected) {
        QTest::addRow("nativeFileName %s", name)
            << FileUtils::nativeFileName(text(name)) << text(expected);
    };
    fileName("AZaz09,^&'@{}[]$=!-#()%.+~_", "AZaz09,^&'@{}[]$=!-#()%.+~_");
    fileName(" \"*/:;<>?\\`|\t\x7f", "______________");
    fileName("Grüße (1).txt", "Gr__e_(1).txt");
    fileName("Łа", "__"); // the low bytes are ASCII
    fileName("a😀b", "a__b");

    const auto server = [text](const char* path, const char* expected) {
        QTest::addRow("server of %s", path)
            << FileUtils::serverFromUNCPath(text(path)) << text(expected);
    };
    server("\\\\srv\\share/dir", "srv");
    server("\\\\srv", "");
    server("\\\\srv/share", "");
    server("\\\\srv/share\\dir", "srv");
    server("//srv/share", nullptr);
    server("C:\\dir", nullptr);
    server("", nullptr);

    const auto extension = [text](const char* path, const char* expected, const char* stripped) {
        const QString replaced = FileUtils::replaceExtension(text(path), text("log"))
                                 + QLatin1Char('|')
                                 + FileUtils::replaceExtension(text(path), QString());
        QTest::addRow("extension of %s", path)
            << FileUtils::extension(text(path)) << text(expected);
        QTest::addRow("replaced in %s", path)
            << replaced << text(stripped) + text(".log|") + text(stripped);
    };
    extension("archive.tar.gz", "gz", "archive.tar");
    extension("dir.d/file", "", "dir.d/file");
    extension("dir.d\\file", "", "dir.d\\file");
    extension(".profile", "profile", "");
    extension("file.", "", "file");
}

void PathsTest::texts()
{
    QFETCH(QString, actual);
    QFETCH(QString, expected);
    QCOMPARE(actual, expected);
    QCOMPARE(actual.isNull(), expected.isNull());
}

void PathsTest::pathsInTheFileSystem()
{
    const QTemporaryDir folder;
    const QString top = QFileInfo(folder.path()).canonicalFilePath();
    const QString real = top + QLatin1String("/real");
    QVERIFY(QDir().mkdir(real) && QFile::link(real, top + QLatin1String("/link")));
    QCOMPARE(FileUtils::canonicalFilePath(top + QLatin1String("\\real/..\\link")), real);
    QCOMPARE(FileUtils::canonicalFilePath(top + QLatin1String("\\none")),
             top + QLatin1String("/none"));
    QVERIFY(FileUtils::canonicalFilePath(QLatin1String("")).isNull());

    const QString relative = QStringLiteral("x/y");
    QCOMPARE(FileUtils::absoluteFilePath(top, relative), top + QLatin1String("/x/y"));
    QCOMPARE(FileUtils::absoluteFilePath(top, real), real);
    QCOMPARE(FileUtils::absoluteFilePath(relative, relative),
             QDir::currentPath() + QLatin1String("/x/y/x/y"));
}

void PathsTest::nativePathSearchesFolders()
{
    const QTemporaryDir first, second;
    const QString before = QDir::currentPath();
    const QString name = QStringLiteral("program");
    QVERIFY(QDir(second.path()).mkdir(name) && QDir::setCurrent(second.path()));
    const QString found = second.filePath(name).replace(QLatin1Char('/'), QLatin1Char('\\'));
    const QString folders = first.path() + QLatin1String("%1;") + second.path();
    QCOMPARE(FileUtils::nativePath(name, folders.arg(QString())), found);
    QCOMPARE(FileUtils::nativePath(name, folders.arg(QLatin1String(";"))),
             QStringLiteral(".\\program"));
    QCOMPARE(FileUtils::nativePath(QStringLiteral("./no/../x/"), folders.arg(QString())),
             QStringLiteral(".\\no\\..\\x\\"));
    QVERIFY(QDir::setCurrent(before));
}

QUARN_TEST(PathsTest)
#include "PathsTest.moc"
