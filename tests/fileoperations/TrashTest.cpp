#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDateTime>
#include <QTest>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <vector>

using namespace kel;

namespace {

/** What a trash recorded under \a name as the place of the item. */
QByteArray recordedPath(const QString& trash, const QString& name)
{
    QFile file(trash + QStringLiteral("/info/") + name + QStringLiteral(".trashinfo"));
    file.open(QIODevice::ReadOnly);
    const QList<QByteArray> lines = file.readAll().split('\n');
    if (lines.size() != 4 || lines[0] != "[Trash Info]" || !lines[1].startsWith("Path="))
        return QByteArray();
    const auto date = QDateTime::fromString(QString::fromLatin1(lines[2]),
                                            QStringLiteral("'DeletionDate='yyyy-MM-ddThh:mm:ss"));
    const qint64 age = date.secsTo(QDateTime::currentDateTime());
    return age >= 0 && age < 60 ? QByteArray::fromPercentEncoding(lines[1].mid(5)) : QByteArray();
}

/** Mounts a file system that only this process sees. */
bool mountOwn(const QByteArray& folder)
{
    return ::unshare(CLONE_NEWNS) == 0
           && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
           && ::mount("none", folder, "tmpfs", 0, nullptr) == 0;
}

} // namespace

/** The trash of the home and of other file systems; the home is a temporary folder. */
class TrashTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<TemporaryFolder>();
        m_root = m_folder->root();
        qputenv("XDG_DATA_HOME", m_root + "/data/home");
    }

    void recordsWhereItWas()
    {
        for (const QByteArray& entry :
             {QByteArray(".f"), QByteArray("100% a\nb#ü,語"), QByteArray("d/f\xff"),
              QByteArray("l>x"), QByteArray(250, 'n') + ".txt", QByteArray("ü").repeated(125)}) {
            init();
            createEntries(m_root + "/a b", {entry});
            const QByteArray name = entry.split('/').first().split('>').first();
            QVERIFY2(FileUtils::moveToTrash(QFileInfo(m_folder->at("a b/" + name))), entry);
            const QStringList names = trashed("files");
            QVERIFY2(entriesOf(m_root + "/a b").isEmpty() && names.size() == 1, entry);
            QVERIFY(name.size() > 245 || QFile::encodeName(names.first()) == name);
            QCOMPARE(recordedPath(trash(), names.first()), m_root + "/a b/" + name);
            for (const char* const folder : {"/data", "/data/home", "/data/home/Trash/files"}) {
                struct stat status;
                QVERIFY(::stat(m_root + folder, &status) == 0 && (status.st_mode & 07777) == 0700);
            }
        }
    }

    void keepsItemsOfOneNameApart()
    {
        constexpr int threads = 8;
        constexpr int files = 25;
        for (int i = 0; i < threads * files; ++i)
            createEntries(m_root + "/from", {QByteArray::number(i) + "/f.txt"});
        // Somebody's file without an entry of its own must not be overwritten either.
        createEntries(m_root, {"data/home/Trash/files/f.txt"});
        std::vector<std::future<void>> running;
        for (int i = 0; i < threads; ++i) {
            running.push_back(std::async(std::launch::async, [this, i] {
                for (int j = i * files; j < (i + 1) * files; ++j)
                    FileUtils::moveToTrash(QFileInfo(m_folder->at("from/%1/f.txt").arg(j)));
            }));
        }
        running.clear(); // waits for all
        QSet<QByteArray> recorded;
        const QStringList names = trashed("files");
        for (const QString& name : names)
            recorded.insert(recordedPath(trash(), name));
        QCOMPARE(names.size(), threads * files + 1);
        QCOMPARE(recorded.size(), threads * files + 1); // with an empty one
    }

    void leavesWhatItCannotMove()
    {
        const auto leaves
            = [this](const char* item, const Entries& before, const QString& ending = {}) {
                  init();
                  createEntries(m_root, before);
                  const bool moved = FileUtils::moveToTrash(QFileInfo(m_folder->at(item) + ending));
                  const Entries after = entriesOf(m_root);
                  return !moved && trashed("info").isEmpty()
                         && std::all_of(before.begin(), before.end(), [&](const QByteArray& entry) {
                                return after.contains(entry.split('>').first());
                            });
              };
        QVERIFY2(leaves("f", {"data/home/Trash/files", "f"}), "no folder for the files");
        QVERIFY2(leaves("f", {"x/", "data/home/Trash/files>../../../x", "f"}), "files are a link");
        QVERIFY2(leaves("data", {"data/home/Trash/files/"}), "the home of the trash");
        QVERIFY2(leaves("f", {"x"}), "nothing there");
        QVERIFY2(leaves("f", {"f"}, QChar(QChar::Null) + QStringLiteral("x")), "zero character");
    }

    void staysOnTheFileSystem_data()
    {
        QTest::addColumn<Entries>("before");
        QTest::addColumn<int>("sharedMode");
        QTest::addColumn<QByteArray>("trash");
        const QByteArray user = QByteArray::number(::geteuid());
        const QByteArray own = ".Trash-" + user;
        QTest::newRow("own folder") << Entries{} << 0 << own;
        QTest::newRow("shared folder") << Entries{".Trash/"} << 01777 << ".Trash/" + user;
        QTest::newRow("shared folder not sticky") << Entries{".Trash/"} << 0777 << own;
        QTest::newRow("shared folder is a link") << Entries{"x/", ".Trash>x"} << 01777 << own;
        QTest::newRow("neither") << Entries{own} << 0 << QByteArray();
    }

    void staysOnTheFileSystem()
    {
        QFETCH(Entries, before);
        QFETCH(int, sharedMode);
        QFETCH(QByteArray, trash);
        createEntries(m_root, {"mount/"});
        const auto run = [&]() noexcept {
            const QByteArray mount = m_root + "/mount";
            if (!mountOwn(mount))
                return 4;
            createEntries(mount, before + Entries{"a b/f"});
            ::chmod(mount + "/.Trash", mode_t(sharedMode));
            const bool moved = FileUtils::moveToTrash(QFileInfo(m_folder->at("mount/a b/f")));
            const QByteArray recorded
                = recordedPath(m_folder->at("mount/" + trash), QStringLiteral("f"));
            return entriesOf(mount).contains("a b/f") == moved ? 2
                   : recorded == (moved ? "a b/f" : "")        ? int(moved)
                                                               : 3;
        };
        const pid_t child = ::fork();
        if (child == 0)
            ::_exit(run());
        int status = -1;
        ::waitpid(child, &status, 0);
        QVERIFY(WIFEXITED(status));
        if (WEXITSTATUS(status) == 4)
            QSKIP("Only the administrator may mount a file system here", );
        QCOMPARE(WEXITSTATUS(status), trash.isEmpty() ? 0 : 1);
        QVERIFY(trashed("files").isEmpty());
    }

    void cleanup() { qunsetenv("XDG_DATA_HOME"); }

private:
    QString trash() const { return m_folder->at("data/home/Trash/"); }
    QStringList trashed(const char* part) const
    {
        return QDir(trash() + QString::fromLatin1(part))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<TemporaryFolder> m_folder;
    QByteArray m_root;
};

QTEST_GUILESS_MAIN(TrashTest)
#include "TrashTest.moc"
