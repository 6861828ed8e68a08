#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

using kel::FileUtils;

/** Paths as texts and in the file system, and the folders of the system. */
class PathsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        for (const char* folder : {"HOME", "TMPDIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            QVERIFY(QDir().mkdir(path(folder)) && qputenv(folder, QFile::encodeName(path(folder))));
        useTemp("TMPDIR");
        createEntries(m_folder.root(), {"file"});
    }

    void texts()
    {
        const auto server = [](const char* path, const char* expected) {
            const QString name = FileUtils::serverFromUNCPath(QLatin1String(path));
            QVERIFY2(name == QLatin1String(expected) && !name.isNull(), path);
        };
        server("\\\\srv\\share/dir", "srv");
        server("\\\\srv", "");
        server("\\\\srv/share", "");
        server("\\\\srv/share\\dir", "srv");
        // What a dot in front of the last one, at the beginning and at the end makes of a name.
        const std::pair<const char*, const char*> names[]
            = {{"archive.tar.gz", "archive.tar"}, {".profile", ""}, {"file.", "file"}};
        for (const auto& [name, stem] : names)
            QCOMPARE(FileUtils::stripExtension(QLatin1String(name)), QLatin1String(stem));
    }

    void pathsInTheFileSystem()
    {
        const QString real = path("HOME"), none = path("none"), top = m_folder.path();
        const QString link = QLatin1String(hasPosix ? "link" : "HOME");
        QVERIFY(!hasPosix || QFile::link(real, path("link")));
        QCOMPARE(FileUtils::canonicalFilePath(top + QLatin1String("\\HOME/..\\") + link), real);
        QCOMPARE(FileUtils::canonicalFilePath(top + QLatin1String("\\none")), none);
        QVERIFY(FileUtils::canonicalFilePath(QLatin1String("")).isNull());
        QCOMPARE(FileUtils::absoluteFilePath(top, QStringLiteral("none")), none);
        QCOMPARE(FileUtils::absoluteFilePath(top, real), real);
        QCOMPARE(FileUtils::absoluteFilePath(QStringLiteral("x"), QStringLiteral("y")),
                 QDir::currentPath() + QLatin1String("/x/y"));
    }

    void userFolders()
    {
        if (!hasPosix)
            return foldersOfTheShell();
        QCOMPARE(FileUtils::userDesktop().path(), path("HOME"));
        QVERIFY(QDir().mkdir(path("HOME/Desktop")));
        QCOMPARE(FileUtils::userDesktop().path(), path("HOME/Desktop"));
        QVERIFY(FileUtils::userDocumentsDir() == path("HOME/Documents")
                && FileUtils::userLogDir() == path("XDG_DATA_HOME")
                && FileUtils::userDataDir() == path("XDG_CONFIG_HOME")
                && FileUtils::userTrash() == path("XDG_DATA_HOME/Trash/files"));
        const auto in
            = [](const char* dir) { return FileUtils::inApplicationsDir(QLatin1String(dir)); };
        QVERIFY(in("/usr") && in("/opt/program") && !in("/Usr/bin") && !in("/home/usr") && !in(""));
    }

    void tempDirs()
    {
        createEntries(m_folder.root(), {"TMPDIR/temp1/", "TMPDIR/temp3",
                                        hasPosix ? "TMPDIR/temp4>no" : "TMPDIR/temp4"});
        QCOMPARE(FileUtils::createTempDir(), path("TMPDIR/temp2"));
        QCOMPARE(FileUtils::createTempDir(), path("TMPDIR/temp5"));
        QVERIFY(QFileInfo(path("TMPDIR/temp5")).isDir() && !QFileInfo::exists(path("TMPDIR/no")));
        if (hasPosix) // its owner's
            QCOMPARE(int(QFile::permissions(path("TMPDIR/temp5"))) & 0x7077, 0x7000);
        useTemp("file");
        const QString refused = FileUtils::createTempDir();
        useTemp("TMPDIR");
        QCOMPARE(refused, path("file/temp1"));
    }

    void mustExist()
    {
        QVERIFY(FileUtils::fileMustExist(path("file")) && FileUtils::dirMustExist(path("HOME")));
        const auto refusal = [](bool (*check)(const QString&), const QString& path) {
            try {
                return check(path) ? QString() : path;
            } catch (const kel::FileException& exception) {
                const bool complete = exception.fileName() == path && !exception.cause()
                                      && exception.error() == QFile::OpenError;
                return complete ? exception.message() : QString();
            }
        };
        const auto file = FileUtils::fileMustExist, directory = FileUtils::dirMustExist;
        QCOMPARE(refusal(file, path("none")), QStringLiteral("file not found"));
        QCOMPARE(refusal(file, path("HOME")), QStringLiteral("is not a file"));
        QCOMPARE(refusal(directory, path("none")), QStringLiteral("directory not found"));
        QCOMPARE(refusal(directory, path("file")), QStringLiteral("is not a directory"));
    }

private:
    void foldersOfTheShell() const
    {
        const auto environment
            = [](const char* name) { return QDir(qEnvironmentVariable(name)).path(); };
        QCOMPARE(FileUtils::userDataDir().path(), environment("APPDATA"));
        QCOMPARE(FileUtils::userLogDir().path(), environment("LOCALAPPDATA"));
        const QString programs = qEnvironmentVariable("ProgramFiles");
        QVERIFY(FileUtils::inApplicationsDir(programs + QStringLiteral("\\x")));
        QVERIFY(!FileUtils::inApplicationsDir(QDir::fromNativeSeparators(programs)));
    }
    void useTemp(const char* name) const
    {
        for (const char* variable : {"TMPDIR", "TMP"})
            qputenv(variable, QFile::encodeName(path(name)));
    }
    QString path(const char* name) const { return m_folder.at(name); }

    const TemporaryFolder m_folder{};
};

QTEST_GUILESS_MAIN(PathsTest)
#include "PathsTest.moc"
