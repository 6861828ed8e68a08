#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <thread>

using kel::FileUtils;

class FoldersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        for (const char* folder : {"HOME", "TMPDIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            QVERIFY(QDir().mkdir(path(folder)) && qputenv(folder, QFile::encodeName(path(folder))));
        QVERIFY(QFile(path("file")).open(QIODevice::WriteOnly));
    }

    void cleanupTestCase() { qputenv("TMPDIR", m_formerTemp.isEmpty() ? "/tmp" : m_formerTemp); }

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
        QVERIFY(QDir().mkdir(path("TMPDIR/temp1")));
        QVERIFY(QFile::copy(path("file"), path("TMPDIR/temp3")));
        QVERIFY(QFile::link(path("nowhere"), path("TMPDIR/temp4")));
        QCOMPARE(FileUtils::createTempDir(), path("TMPDIR/temp2"));
        QCOMPARE(FileUtils::createTempDir(), path("TMPDIR/temp5"));
        QVERIFY(QFileInfo(path("TMPDIR/temp5")).isDir() && !QFileInfo::exists(path("nowhere")));
        QCOMPARE(int(QFile::permissions(path("TMPDIR/temp5"))) & 0x7077, 0x7000); // its owner's
        qputenv("TMPDIR", QFile::encodeName(path("file")));
        const QString refused = FileUtils::createTempDir();
        qputenv("TMPDIR", QFile::encodeName(path("TMPDIR")));
        QCOMPARE(refused, path("file/temp1"));
    }

    void tempDirsOfManyThreadsDiffer()
    {
        std::array<QStringList, 8> made;
        std::array<std::thread, made.size()> threads;
        for (std::size_t i = 0; i < made.size(); ++i)
            threads[i] = std::thread([&mine = made[i]] {
                while (mine.size() < 25)
                    mine << FileUtils::createTempDir();
            });
        QSet<QString> all;
        for (std::size_t i = 0; i < made.size(); ++i) {
            threads[i].join();
            all += QSet<QString>(made[i].begin(), made[i].end());
        }
        QCOMPARE(int(all.size()), int(made.size()) * 25);
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
    QString path(const char* name) const { return m_folder.filePath(QLatin1String(name)); }

    const QTemporaryDir m_folder;
    const QByteArray m_formerTemp = qgetenv("TMPDIR");
};

QTEST_GUILESS_MAIN(FoldersTest)
#include "FoldersTest.moc"
