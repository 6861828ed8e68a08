#include "support/TestRegistry.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <thread>

using kel::FileException;
using kel::FileUtils;

class FoldersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void userFolders();
    void inApplicationsDir_data();
    void inApplicationsDir();
    void tempDirTakesTheFirstFreeNumber();
    void tempDirThatCannotBeCreated();
    void tempDirsOfManyThreadsDiffer();
    void mustExist();

private:
    QString path(const char* name) const { return m_folder.filePath(QLatin1String(name)); }

    const QTemporaryDir m_folder;
    const QByteArray m_formerTemp = qgetenv("TMPDIR");
};

void FoldersTest::initTestCase()
{
    for (const char* folder : {"HOME", "TMPDIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
        QVERIFY(QDir().mkdir(path(folder)));
        qputenv(folder, QFile::encodeName(path(folder)));
    }
    QVERIFY(QFile(path("file")).open(QIODevice::WriteOnly));
}

void FoldersTest::cleanupTestCase()
{
    qputenv("TMPDIR", m_formerTemp.isEmpty() ? QByteArray("/tmp") : m_formerTemp);
}

void FoldersTest::userFolders()
{
    QCOMPARE(FileUtils::userDesktop().path(), path("HOME"));
    QVERIFY(QDir().mkdir(path("HOME/Desktop")));
    QCOMPARE(FileUtils::userDesktop().path(), path("HOME/Desktop"));
    QCOMPARE(FileUtils::userDocumentsDir().path(), path("HOME/Documents"));
    QCOMPARE(FileUtils::userLogDir().path(), path("XDG_DATA_HOME"));
    QCOMPARE(FileUtils::userDataDir().path(), path("XDG_CONFIG_HOME"));
    QCOMPARE(FileUtils::userTrash().path(), path("XDG_DATA_HOME/Trash/files"));
}

void FoldersTest::inApplicationsDir_data()
{
    QTest::addColumn<bool>("expected");
    QTest::newRow("/usr") << true;
    QTest::newRow("/opt/program") << true;
    QTest::newRow("/Usr/bin") << false;
    QTest::newRow("/home/usr") << false;
    QTest::newRow("") << false;
}

void FoldersTest::inApplicationsDir()
{
    QTEST(FileUtils::inApplicationsDir(QLatin1String(QTest::currentDataTag())), "expected");
}

void FoldersTest::tempDirTakesTheFirstFreeNumber()
{
    QVERIFY(QDir().mkdir(path("TMPDIR/temp1")));
    QVERIFY(QFile::copy(path("file"), path("TMPDIR/temp3")));
    QVERIFY(QFile::link(path("nowhere"), path("TMPDIR/temp4")));
    QCOMPARE(FileUtils::createTempDir(), path("TMPDIR/temp2"));
    QCOMPARE(FileUtils::createTempDir(), path("TMPDIR/temp5"));
    QVERIFY(QFileInfo(path("TMPDIR/temp5")).isDir() && !QFileInfo::exists(path("nowhere")));
    QCOMPARE(int(QFile::permissions(path("TMPDIR/temp5"))) & 0x7077, 0x7000); // its owner's only
}

void FoldersTest::tempDirThatCannotBeCreated()
{
    qputenv("TMPDIR", QFile::encodeName(path("file")));
    const QString refused = FileUtils::createTempDir();
    qputenv("TMPDIR", QFile::encodeName(path("TMPDIR")));
    QCOMPARE(refused, path("file/temp1"));
}

void FoldersTest::tempDirsOfManyThreadsDiffer()
{
    constexpr int each = 25;
    std::array<QStringList, 8> made;
    std::array<std::thread, made.size()> threads;
    for (std::size_t i = 0; i < made.size(); ++i)
        threads[i] = std::thread([&mine = made[i]] {
            for (int count = 0; count < each; ++count)
                mine << FileUtils::createTempDir();
        });
    QSet<QString> all;
    for (std::size_t i = 0; i < made.size(); ++i) {
        threads[i].join();
        all += QSet<QString>(made[i].begin(), made[i].end());
    }
    QCOMPARE(int(all.size()), int(made.size()) * each);
}

void FoldersTest::mustExist()
{
    QVERIFY(FileUtils::fileMustExist(path("file")));
    QVERIFY(FileUtils::dirMustExist(path("HOME")));
    const auto refusal = [](bool (*check)(const QString&), const QString& path) {
        try {
            check(path);
        } catch (const FileException& exception) {
            const bool complete = exception.fileName() == path && !exception.cause()
                                  && exception.error() == QFile::OpenError;
            return complete ? exception.message() : QString();
        }
        return QString();
    };
    QCOMPARE(refusal(FileUtils::fileMustExist, path("none")), QStringLiteral("file not found"));
    QCOMPARE(refusal(FileUtils::fileMustExist, path("HOME")), QStringLiteral("is not a file"));
    QCOMPARE(refusal(FileUtils::dirMustExist, path("none")), QStringLiteral("directory not found"));
    QCOMPARE(refusal(FileUtils::dirMustExist, path("file")), QStringLiteral("is not a directory"));
}

QUARN_TEST(FoldersTest)
#include "FoldersTest.moc"
