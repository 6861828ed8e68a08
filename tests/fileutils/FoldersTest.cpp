#include "support/Entries.h"
#include "support/TemporaryFolder.h"
#include "support/Thread.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <array>
#include <list>

using kel::FileUtils;

class FoldersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        for (const char* folder : {"HOME", "TMPDIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            QVERIFY(QDir().mkdir(path(folder)) && qputenv(folder, QFile::encodeName(path(folder))));
        createEntries(m_folder.root(), {"file"});
    }

    void userFolders()
    {
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
        createEntries(m_folder.root(), {"TMPDIR/temp1/", "TMPDIR/temp3", "TMPDIR/temp4>no"});
        QCOMPARE(FileUtils::createTempDir(), path("TMPDIR/temp2"));
        QCOMPARE(FileUtils::createTempDir(), path("TMPDIR/temp5"));
        QVERIFY(QFileInfo(path("TMPDIR/temp5")).isDir() && !QFileInfo::exists(path("TMPDIR/no")));
        QCOMPARE(int(QFile::permissions(path("TMPDIR/temp5"))) & 0x7077, 0x7000); // its owner's
        qputenv("TMPDIR", QFile::encodeName(path("file")));
        const QString refused = FileUtils::createTempDir();
        qputenv("TMPDIR", QFile::encodeName(path("TMPDIR")));
        QCOMPARE(refused, path("file/temp1"));
    }

    void tempDirsOfManyThreadsDiffer()
    {
        std::array<QStringList, 8> made;
        std::list<Thread> threads;
        for (QStringList& mine : made) {
            threads.emplace_back([&mine] {
                while (mine.size() < 25)
                    mine << FileUtils::createTempDir();
            });
            threads.back().start();
        }
        threads.clear(); // waits for all
        QStringList all;
        for (const QStringList& mine : made)
            all += mine;
        QVERIFY(all.size() == 200 && all.removeDuplicates() == 0);
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
    QString path(const char* name) const { return m_folder.at(name); }

    const TemporaryFolder m_folder{};
};

QTEST_GUILESS_MAIN(FoldersTest)
#include "FoldersTest.moc"
