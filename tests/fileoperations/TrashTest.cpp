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
        const QString zero = QChar(QChar::Null) + QStringLiteral("x");
        const std::tuple<const char*, QString, Entries> rows[]
            = {{"f", {}, {"data/home/Trash/files", "f"}}, // no folder for the files
               {"f", {}, {"data/home/Trash/files>../../../x", "f", "x/"}},
               {"data", {}, {"data/home/Trash/files/"}}, // the trash itself
               {"data", {}, {"data/"}}, // where it would be made
               {"f", zero, {"f"}},
               {"f", {}, {"x"}}};
        for (const auto& [item, ending, before] : rows) {
            init();
            createEntries(m_root, before);
            QVERIFY(!FileUtils::moveToTrash(QFileInfo(m_folder->at(item) + ending)));
            Entries left;
            for (const QByteArray& entry : before)
                left << entry.split('>').first();
            QCOMPARE(entriesOf(m_root), left);
        }
    }

    void isTheUsersTrash()
    {
        const QByteArray home = qgetenv("HOME");
        qputenv("HOME", m_root);
        qputenv("XDG_DATA_HOME", "data/home"); // not valid: it is relative
        createEntries(m_root, {"f"});
        const bool moved = FileUtils::moveToTrash(QFileInfo(m_folder->at("f")));
        const QDir trash = FileUtils::userTrash();
        qputenv("HOME", home);
        QVERIFY(moved && trash.exists(QStringLiteral("f")));
        QCOMPARE(trash.path(), m_folder->at(".local/share/Trash/files"));
    }

    void staysOnTheFileSystem()
    {
        const QByteArray user = QByteArray::number(::geteuid());
        const QByteArray own = ".Trash-" + user;
        // What is there, the mode of ".Trash", what is moved, to which trash, if to any.
        const std::tuple<Entries, mode_t, const char*, QByteArray> rows[]
            = {{{"a b/f"}, 0, "a b/f", own},
               {{".Trash/", "a b/f"}, 01777, "a b/f", ".Trash/" + user},
               {{".Trash/", "a b/f"}, 0777, "a b/f", own},
               {{".Trash>x", "a b/f", "x/"}, 01777, "a b/f", own},
               {{own, "a b/f"}, 0, "a b/f", ""},
               {{".Trash/", "f"}, 01777, ".Trash", ""}};
        for (const auto& [before, mode, item, trash] : rows) {
            init();
            createEntries(m_root, {"mount/"});
            const pid_t child = ::fork();
            if (child == 0)
                ::_exit(moveOnOwnMount(before, mode, item, trash));
            int status = -1;
            ::waitpid(child, &status, 0);
            QVERIFY(WIFEXITED(status));
            if (WEXITSTATUS(status) == 4)
                QSKIP("Only the administrator may mount a file system here", );
            QCOMPARE(WEXITSTATUS(status), 0);
            QVERIFY(entriesOf(m_root) == Entries{"mount/"});
        }
    }

    void cleanup() { qunsetenv("XDG_DATA_HOME"); }

private:
    /** 0 when \a item went to \a trash, or stayed and nothing else came where that is empty. */
    int moveOnOwnMount(const Entries& before, mode_t sharedMode, const char* item,
                       const QByteArray& trash) const noexcept
    {
        const QByteArray mount = m_root + "/mount";
        if (!mountOwn(mount))
            return 4;
        createEntries(mount, before);
        ::chmod(mount + "/.Trash", sharedMode);
        const Entries there = entriesOf(mount);
        const QString path = m_folder->at("mount/") + QString::fromUtf8(item);
        if (FileUtils::moveToTrash(QFileInfo(path)) == trash.isEmpty())
            return 1;
        if (trash.isEmpty())
            return entriesOf(mount) == there ? 0 : 2;
        const QByteArray recorded
            = recordedPath(m_folder->at("mount/" + trash), QFileInfo(path).fileName());
        return recorded == item && !QFileInfo::exists(path) ? 0 : 3;
    }

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
