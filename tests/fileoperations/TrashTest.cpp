#include "Entries.h"
#include "support/TestRegistry.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDateTime>
#include <QTest>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>
#include <vector>

using namespace kel;

namespace {

constexpr int notPermitted = 77;

QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** What a trash recorded under \a name as the place of the item. */
QByteArray recordedPath(const QString& trash, const QString& name)
{
    const QList<QByteArray> lines
        = contentsOf(trash + QStringLiteral("/info/") + name + QStringLiteral(".trashinfo"))
              .split('\n');
    if (lines.size() != 4 || lines[0] != "[Trash Info]" || !lines[1].startsWith("Path="))
        return QByteArray();
    const QString date = QString::fromLatin1(lines[2].mid(int(strlen("DeletionDate="))));
    const qint64 age = QDateTime::fromString(date, QStringLiteral("yyyy-MM-ddThh:mm:ss"))
                           .secsTo(QDateTime::currentDateTime());
    return age >= 0 && age < 60 ? QByteArray::fromPercentEncoding(lines[1].mid(5)) : QByteArray();
}

bool writeFile(const char* path, const QByteArray& text)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(text) > 0;
}

/** Mounts a file system that only this process sees, also for a user who may not mount others. */
bool mountOwn(const QByteArray& folder)
{
    const auto map
        = [](uint id) { return QByteArray::number(id) + ' ' + QByteArray::number(id) + " 1"; };
    const QByteArray users = map(::geteuid());
    const QByteArray groups = map(::getegid());
    const bool isRoot = ::geteuid() == 0;
    return ::unshare(CLONE_NEWNS | (isRoot ? 0 : CLONE_NEWUSER)) == 0
           && (isRoot
               || (writeFile("/proc/self/setgroups", "deny")
                   && writeFile("/proc/self/uid_map", users)
                   && writeFile("/proc/self/gid_map", groups)))
           && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
           && ::mount("none", folder.constData(), "tmpfs", 0, nullptr) == 0;
}

} // namespace

/** The trash of the home and of other file systems; the home is a temporary folder. */
class TrashTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void recordsWhereItWas_data();
    void recordsWhereItWas();
    void keepsItemsOfOneNameApart();
    void leavesWhatItCannotMove_data();
    void leavesWhatItCannotMove();
    void staysOnTheFileSystem_data();
    void staysOnTheFileSystem();
    void cleanup() { qunsetenv("XDG_DATA_HOME"); }

private:
    QString path(const char* name) const { return m_folder->filePath(QString::fromUtf8(name)); }
    QByteArray root() const { return m_folder->nativePath(); }
    QStringList trashed(const char* part) const
    {
        return QDir(path("data/home/Trash/") + QString::fromLatin1(part))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<TemporaryFolder> m_folder;
};

void TrashTest::init()
{
    m_folder = std::make_unique<TemporaryFolder>();
    qputenv("XDG_DATA_HOME", QFile::encodeName(path("data/home")));
}

void TrashTest::recordsWhereItWas_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("file") << QByteArray("f.txt") << QByteArray("f.txt");
    QTest::newRow("hidden file") << QByteArray(".f") << QByteArray(".f");
    QTest::newRow("special characters")
        << QByteArray("100% a\nb#ü,語") << QByteArray("100% a\nb#ü,語");
    QTest::newRow("folder") << QByteArray("d/f\xff") << QByteArray("d");
    QTest::newRow("link to nowhere") << QByteArray("l>x") << QByteArray("l");
    QTest::newRow("longest name") << QByteArray(250, 'n') + ".txt" << QByteArray(250, 'n') + ".txt";
    QTest::newRow("long name of two-byte characters")
        << QByteArray("ü").repeated(125) << QByteArray("ü").repeated(125);
}

void TrashTest::recordsWhereItWas()
{
    QFETCH(QByteArray, entry);
    QFETCH(QByteArray, name);
    createEntries(root() + "/a b", {entry});
    const QString item = path("a b/") + QFile::decodeName(name);
    QVERIFY(FileUtils::moveToTrash(QFileInfo(item)));

    QCOMPARE(entriesOf(root() + "/a b"), Entries());
    const QStringList names = trashed("files");
    QCOMPARE(names.size(), 1);
    QVERIFY(name.size() > 245 || names.first() == QFile::decodeName(name));
    QCOMPARE(recordedPath(path("data/home/Trash"), names.first()), QFile::encodeName(item));
    for (const char* const folder : {"data", "data/home", "data/home/Trash/files"}) {
        struct stat status;
        QCOMPARE(::stat(QFile::encodeName(path(folder)).constData(), &status), 0);
        QCOMPARE(status.st_mode & 07777, mode_t(0700));
    }
}

void TrashTest::keepsItemsOfOneNameApart()
{
    constexpr int threads = 8;
    constexpr int files = 25;
    for (int i = 0; i < threads * files; ++i)
        createEntries(root() + "/from", {QByteArray::number(i) + "/f.txt"});
    // Somebody's file without an entry of its own must not be overwritten either.
    createEntries(root(), {"data/home/Trash/files/f.txt"});
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) {
        running.emplace_back([this, i] {
            for (int j = 0; j < files; ++j)
                FileUtils::moveToTrash(QFileInfo(path("from/%1/f.txt").arg(i * files + j)));
        });
    }
    for (std::thread& thread : running)
        thread.join();
    QCOMPARE(trashed("files").size(), threads * files + 1);
    QSet<QByteArray> recorded;
    for (const QString& name : trashed("files"))
        recorded.insert(recordedPath(path("data/home/Trash"), name));
    QCOMPARE(recorded.size(), threads * files + 1); // with an empty one
}

void TrashTest::leavesWhatItCannotMove_data()
{
    QTest::addColumn<Entries>("before");
    QTest::addColumn<QString>("item");
    QTest::newRow("no folder for the files")
        << Entries{"data/home/Trash/files", "f"} << QStringLiteral("f");
    QTest::newRow("files behind a link")
        << Entries{"x/", "data/home/Trash/files>../../../x", "f"} << QStringLiteral("f");
    QTest::newRow("the home of the trash")
        << Entries{"data/home/Trash/files/", "data/home/Trash/info/"} << QStringLiteral("data");
    QTest::newRow("nothing there") << Entries{"x"} << QStringLiteral("f");
}

void TrashTest::leavesWhatItCannotMove()
{
    QFETCH(Entries, before);
    QFETCH(QString, item);
    createEntries(root(), before);
    QVERIFY(!FileUtils::moveToTrash(QFileInfo(m_folder->filePath(item))));
    Entries after = entriesOf(root());
    after.removeAll("data/home/Trash/info/");
    for (const QByteArray& entry : std::as_const(before))
        QVERIFY2(entry.endsWith("info/") || after.contains(entry.split('>').first()), entry);
    QVERIFY(trashed("info").isEmpty());
}

void TrashTest::staysOnTheFileSystem_data()
{
    QTest::addColumn<Entries>("before");
    QTest::addColumn<int>("sharedMode");
    QTest::addColumn<QString>("trash");
    const QString own = QStringLiteral(".Trash-%1").arg(::geteuid());
    QTest::newRow("own folder") << Entries{} << 0 << own;
    QTest::newRow("shared folder")
        << Entries{".Trash/"} << 01777 << QStringLiteral(".Trash/%1").arg(::geteuid());
    QTest::newRow("shared folder not sticky") << Entries{".Trash/"} << 0777 << own;
    QTest::newRow("shared folder is a link") << Entries{"x/", ".Trash>x"} << 01777 << own;
    QTest::newRow("neither") << Entries{own.toLatin1()} << 0 << QString();
}

void TrashTest::staysOnTheFileSystem()
{
    QFETCH(Entries, before);
    QFETCH(int, sharedMode);
    QFETCH(QString, trash);
    createEntries(root(), {"mount/"});
    const int result = runInChild([&] {
        const QByteArray mount = root() + "/mount";
        if (!mountOwn(mount))
            return notPermitted;
        createEntries(mount, before + Entries{"a b/f"});
        ::chmod((mount + "/.Trash").constData(), mode_t(sharedMode));
        const bool moved = FileUtils::moveToTrash(QFileInfo(path("mount/a b/f")));
        const bool stayed = entriesOf(mount).contains("a b/f");
        const QByteArray recorded = recordedPath(path("mount/") + trash, QStringLiteral("f"));
        return moved == stayed ? 2 : recorded == (moved ? "a b/f" : "") ? int(moved) : 3;
    });
    if (result == notPermitted)
        QSKIP("No mounts for this user here", );
    QCOMPARE(result, trash.isEmpty() ? 0 : 1);
    QVERIFY(trashed("files").isEmpty());
}

QUARN_TEST(TrashTest)
#include "TrashTest.moc"
