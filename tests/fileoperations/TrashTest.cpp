#include "support/Entries.h"
#include "support/TemporaryFolder.h"
#include "support/Thread.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDateTime>
#include <QSettings>
#include <QTest>

#include <fcntl.h>
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
              QByteArray("l>x"), QByteArray(250, 'n') + ".txt", QByteArray("ü").repeated(125),
              QByteArray("f.of a long extension")}) {
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

    void comesBack()
    {
        const QByteArray names[] = {"f", "100% a\nb#ü", "tree", "link", QByteArray(250, 'n')};
        createEntries(m_root + "/d", {"f", names[1], "tree/a/b", "link>nowhere", names[4]});
        FileUtils::comment(m_folder->at("d/f"), QStringLiteral("comment"));
        const Entries before = entriesOf(m_root);
        for (const QByteArray& name : names)
            QVERIFY2(moveToTrash("d/" + name), name);
        ::rmdir(m_root + "/d"); // its folder is made again
        QList<TrashedFile> trashed = ours(FileUtils::trashedFiles());
        QCOMPARE(trashed.size(), 5);
        for (const TrashedFile& file : trashed) {
            QVERIFY(file.deletionDate.secsTo(QDateTime::currentDateTime()) < 60);
            QCOMPARE(restored(file), QByteArray());
            QVERIFY(restored(file).endsWith("No such file or directory")); // no longer there
        }
        QCOMPARE(entriesOf(m_root).mid(0, 5), before);
        QCOMPARE(FileUtils::comment(m_folder->at("d/f")), QStringLiteral("comment"));

        for (const char* inTheWay : {"d/f", "d/tree/", "d/link>nowhere", "d"}) {
            init();
            createEntries(m_root, {"d/f"});
            QVERIFY(moveToTrash("d/f") && ::rmdir(m_root + "/d") == 0);
            trashed = ours(FileUtils::trashedFiles());
            const QByteArray place = QByteArray(inTheWay).split('>').first();
            trashed[0].originalPath = m_folder->at(place == "d" ? "d/new/f" : place);
            createEntries(m_root, {inTheWay});
            const Entries there = entriesOf(m_root);
            const QByteArray said = restored(trashed[0]);
            QVERIFY2(said.endsWith(place == "d" ? "Not a directory" : "File exists"), said);
            QCOMPARE(entriesOf(m_root), there);
        }
    }

    void readsWhatOthersWrote()
    {
        createEntries(m_trash, {"files/f"}); // and noted nothing
        QList<TrashedFile> unknown = ours(FileUtils::trashedFiles());
        QVERIFY(unknown.size() == 1 && restored(unknown[0]).endsWith("where it was"));
        unknown[0].originalPath = QStringLiteral("/");
        QVERIFY(restored(unknown[0]).endsWith("Invalid argument"));
        unknown[0].originalPath = m_folder->at("f");
        QCOMPARE(restored(unknown[0]), QByteArray());
        const std::tuple<const char*, QByteArray> infos[] = {
            {"[Trash Info]\nDeletionDate=2024-05-31T13:45:00\nX=1\nPath=%2Fa%20b%c3%bc\nPath=/c\n",
             "/a bü"},
            {"[Trash Info]\nPath=x/y", m_root + "/data/home/x/y"},
            {"[Trash Info]\nPath=x/../y\n", ""},
            {"[Trash Info]\nPath=/a%00b\n", ""},
            {"[Other]\nPath=/a\n", ""},
            {"Path=/a\n", ""}};
        for (const auto& [text, expected] : infos) {
            createEntries(m_trash, {"files/f", "info/f.trashinfo"});
            std::ofstream((m_trash + "/info/f.trashinfo").toStdString()) << text;
            const QList<TrashedFile> files = ours(FileUtils::trashedFiles());
            QCOMPARE(files.size(), 1);
            QCOMPARE(files[0].originalPath.toUtf8(), expected);
            QCOMPARE(files[0].deletionDate.isValid(), expected.startsWith("/a"));
            QVERIFY(!expected.isEmpty() || restored(files[0]).endsWith("where it was"));
        }
    }

    void isEmptied()
    {
        createEntries(m_root, {"f", "tree/a/b", "tree/link>../out", "out/kept", "tree/pipe|"});
        ::chmod(m_root + "/tree/a", 0500);
        QVERIFY(moveToTrash("f") && moveToTrash("tree"));
        createEntries(m_trash, {"files/unknown", "info/old.trashinfo", "info/new.trashinfo",
                                "directorysizes"});
        const timespec times[] = {{0, 0}, {0, 0}};
        ::utimensat(AT_FDCWD, m_trash + "/info/old.trashinfo", times, 0);
        const QList<TrashedFile> all = FileUtils::trashedFiles();
        if (ours(all).size() != all.size())
            QSKIP("There is a real trash", );
        QCOMPARE(all.size(), 3);
        const auto failures = FileUtils::emptyTrash();
        QVERIFY2(failures.isEmpty(), failures.isEmpty() ? "" : failures[0].what());
        // Somebody may be about to put the item of a new note there.
        QCOMPARE(entriesOf(m_root), (Entries{"data/home/Trash/files/",
                                             "data/home/Trash/info/new.trashinfo", "out/kept"}));
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
            for (const TrashedFile& file : ours(FileUtils::trashedFiles()))
                QCOMPARE(restored(file), QByteArray());
            QVERIFY2(QFileInfo::exists(QFile::decodeName(mount + item)), item);
            ::umount2(mount, MNT_DETACH);
            QCOMPARE(entriesOf(m_root), Entries{"mount/"});
        }
    }

private:
    QList<TrashedFile> ours(const QList<TrashedFile>& all) const
    {
        QList<TrashedFile> files;
        for (const TrashedFile& file : all)
            if (file.path.startsWith(m_folder->path()))
                files << file;
        return files;
    }

    /** What is said when it cannot be restored. */
    static QByteArray restored(const TrashedFile& file)
    {
        try {
            FileUtils::restoreFromTrash(file);
            return QByteArray();
        } catch (const FileException& exception) {
            return exception.what();
        }
    }

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
