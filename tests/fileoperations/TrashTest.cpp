#include "support/Entries.h"
#include "support/TemporaryFolder.h"
#include "support/Thread.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDateTime>
#include <QSettings>
#include <QTest>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <list>
#include <tuple>

using namespace kel;

/** What a trash recorded under \a name as the place of the item. */
static QByteArray recordedPath(const QByteArray& trash, const QByteArray& name)
{
    const QSettings info(QFile::decodeName(trash + "/info/" + name + ".trashinfo"),
                         QSettings::IniFormat);
    const auto date = info.value(QStringLiteral("Trash Info/DeletionDate")).toDateTime();
    const auto now = QDateTime::currentDateTime();
    const QByteArray path = info.value(QStringLiteral("Trash Info/Path")).toByteArray();
    return date <= now && date.addSecs(60) > now ? QByteArray::fromPercentEncoding(path) : "";
}

/** The trash of the home and of other file systems; the home is a temporary folder. */
class TrashTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<TemporaryFolder>();
        m_root = m_folder->root();
        m_trash = m_root + "/data/home/Trash";
        qputenv("HOME", m_root);
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
            QVERIFY2(moveToTrash("a b/" + name), entry);
            const Entries trashed = entriesOf(m_trash + "/files");
            QVERIFY2(entriesOf(m_root + "/a b").isEmpty() && trashed.size() == 1, entry);
            const QByteArray trashName = trashed.first().split('/').first();
            QVERIFY(name.size() > 245 || trashName == name);
            QCOMPARE(recordedPath(m_trash, trashName), m_root + "/a b/" + name);
            for (const char* const made : {"data", "data/home", "data/home/Trash/files"})
                QCOMPARE(int(QFile::permissions(m_folder->at(made))) & 0x7077, 0x7000);
        }
    }

    void keepsItemsOfOneNameApart()
    {
        constexpr int files = 200;
        for (int i = 0; i < files; ++i)
            createEntries(m_root + "/from", {QByteArray::number(i) + "/f.txt"});
        // Somebody's file without an entry of its own must not be overwritten either.
        createEntries(m_trash, {"files/f.txt"});
        std::list<Thread> threads;
        for (int i = 0; i < 8; ++i) {
            Thread& thread = threads.emplace_back([this, i] {
                for (int file = i; file < files; file += 8)
                    moveToTrash("from/" + QByteArray::number(file) + "/f.txt");
            });
            thread.start();
        }
        threads.clear(); // waits for all
        QSet<QByteArray> recorded;
        for (const QByteArray& name : entriesOf(m_trash + "/files"))
            recorded.insert(recordedPath(m_trash, name));
        QCOMPARE(recorded.size(), files + 1); // with an empty one
    }

    void leavesWhatItCannotMove()
    {
        const std::tuple<QByteArray, Entries> rows[]
            = {{"f", {"data/home/Trash/files", "f"}}, // no folder for the files
               {"f", {"x/", "data/home/Trash/files>../../../x", "f"}},
               {"data", {"data/home/Trash/files/"}}, // the trash itself
               {"f", {"x"}},
               {"data", {"data/", "f"}}}; // where the trash would be made
        for (const auto& [item, before] : rows) {
            init();
            createEntries(m_root, before);
            const Entries there = entriesOf(m_root);
            QVERIFY(!moveToTrash(item));
            QCOMPARE(entriesOf(m_root), there);
        }
        QVERIFY(!FileUtils::moveToTrash(QFileInfo(m_folder->at("f") + QChar(QChar::Null))));
    }

    void isTheUsersTrash()
    {
        qputenv("XDG_DATA_HOME", "data/home"); // not valid: it is relative
        createEntries(m_root, {"f"});
        QVERIFY(moveToTrash("f") && FileUtils::userTrash().exists(QStringLiteral("f")));
        QCOMPARE(FileUtils::userTrash().path(), m_folder->at(".local/share/Trash/files"));
    }

    void staysOnTheFileSystem()
    {
        if (::unshare(CLONE_NEWNS) != 0
            || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            QSKIP("Only the administrator may mount a file system here", );
        const QByteArray own = ".Trash-" + QByteArray::number(::geteuid());
        // What is there, the mode of ".Trash", what is moved, to which trash, if to any.
        const std::tuple<Entries, mode_t, QByteArray, QByteArray> rows[]
            = {{{"a b/f"}, 0, "a b/f", own},
               {{".Trash/", "a b/f"}, 01777, "a b/f", ".Trash/" + own.mid(7)},
               {{".Trash/", "a b/f"}, 0777, "a b/f", own},
               {{".Trash>x", "a b/f", "x/"}, 01777, "a b/f", own},
               {{own, "a b/f"}, 0, "a b/f", ""},
               {{".Trash/", "f"}, 01777, ".Trash", ""}};
        for (const auto& [before, mode, item, trash] : rows) {
            init();
            createEntries(m_root, {"mount/"});
            const QByteArray mount = m_root + "/mount/";
            QCOMPARE(::mount("none", mount, "tmpfs", 0, nullptr), 0);
            createEntries(mount, before);
            ::chmod(mount + ".Trash", mode);
            const Entries there = entriesOf(mount);
            const bool moved = moveToTrash("mount/" + item);
            QVERIFY(moved != trash.isEmpty() && (moved || entriesOf(mount) == there));
            QCOMPARE(recordedPath(mount + trash, item.split('/').last()), moved ? item : "");
            ::umount2(mount, MNT_DETACH);
            QCOMPARE(entriesOf(m_root), Entries{"mount/"});
        }
    }

private:
    bool moveToTrash(const QByteArray& name) const
    {
        return FileUtils::moveToTrash(QFileInfo(m_folder->filePath(QString::fromUtf8(name))));
    }

    std::unique_ptr<TemporaryFolder> m_folder;
    QByteArray m_root;
    QByteArray m_trash;
};

QTEST_GUILESS_MAIN(TrashTest)
#include "TrashTest.moc"
