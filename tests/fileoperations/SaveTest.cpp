#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <sys/mount.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <sched.h>
#include <tuple>

using namespace kel;

/** What is said when \a path cannot be saved to; empty when it was. */
static QByteArray save(const QString& path, const QByteArray& data = "new\r\n")
{
    try {
        FileUtils::saveBytes(data, path);
        return QByteArray();
    } catch (const FileException& exception) {
        return exception.fileName() == path ? exception.message().toUtf8() : "another path";
    }
}

/** Files that are saved whole or not at all; what a fault or crash leaves is for the fault tests. */
class SaveTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void replaces()
    {
        const QByteArray longName(255, 'n');
        struct
        {
            QByteArray saved, file, message; // which holds the bytes then, or what is said
        } const rows[] = {{"f", "f", ""},
                          {"new", "new", ""},
                          {longName, longName, ""},
                          {"link", "f", ""},
                          {"d/up", "f", ""}, // relative to where the link is
                          {"dangling", "d/later", ""},
                          {"twin", "twin", ""},
                          {"loop", "", "could not be found: Too many levels of symbolic links"},
                          {"d", "", "could not be replaced: It is no regular file"},
                          {"pipe", "", "could not be replaced: It is no regular file"},
                          {"missing/f", "", "could not be found: No such file or directory"},
                          {"f/f", "", "could not be found: Not a directory"},
                          {"d/", "", "could not be found: Is a directory"},
                          {"d/..", "", "could not be found: Is a directory"},
                          {"absolute", "f", ""},
                          {longName + "n", "", "could not be found: File name too long"}};
        for (const auto& row : rows) {
            const TemporaryFolder folder;
            createEntries(folder.root(),
                          {"f", "link>f", "d/up>../f", "dangling>d/later", "loop>loop", "pipe|",
                           "absolute>" + folder.root() + "/f"});
            ::link(folder.root() + "/f", folder.root() + "/twin");
            const Entries before = entriesOf(folder.root());
            QCOMPARE(save(folder.at(row.saved)), row.message);
            if (row.message.isEmpty())
                QCOMPARE(contentsOf(folder.at(row.file)), QByteArray("new\r\n"));
            const int created = row.message.isEmpty() && !before.contains(row.file);
            QCOMPARE(entriesOf(folder.root()).size(), before.size() + created);
            QVERIFY(row.file == "f" || contentsOf(folder.at("f")) == "contents");
        }
        QVERIFY(!save(QStringLiteral("f") + QChar(QChar::Null)).isEmpty());
    }

    void keepsWhatGoesWithTheFile()
    {
        const TemporaryFolder folder;
        const QString path = folder.at("f");
        const QByteArray name = folder.root() + "/f";
        createEntries(folder.root(), {"f"});
        FileUtils::comment(path, QStringLiteral("comment"));
        const bool attributes = ::setxattr(name, "user.a", "b", 1, 0) == 0;
        ::setxattr(name, "security.selinux", "c", 1, 0); // not for a plain user to set
        ::setxattr(name, "trusted.d", "d", 1, 0); // nor this, which isn't taken over
        const bool foreign = ::chown(name, 1234, 1235) == 0; // as the administrator
        // Version 2; user rw, user 99 r, group none, mask r, others none.
        const auto list = QByteArray::fromHex("02000000"
                                              "01000600ffffffff"
                                              "0200040063000000"
                                              "04000000ffffffff"
                                              "10000400ffffffff"
                                              "20000000ffffffff");
        const bool listed
            = ::setxattr(name, "system.posix_acl_access", list, size_t(list.size()), 0) == 0;
        const mode_t mode = listed ? 0640 : 04604; // a writing ends the right to change the user
        ::chmod(name, mode);
        QCOMPARE(save(path), QByteArray());
        struct stat status;
        char value[100];
        QVERIFY(::stat(name, &status) == 0);
        QCOMPARE(int(status.st_mode & 07777), int(mode & 0777));
        QVERIFY(!foreign || (status.st_uid == 1234 && status.st_gid == 1235));
        QCOMPARE(FileUtils::comment(path), QStringLiteral("comment"));
        QVERIFY(!attributes || (::getxattr(name, "user.a", value, 1) == 1 && value[0] == 'b'));
        QVERIFY(::getxattr(name, "trusted.d", value, 1) < 0);
        QVERIFY(!listed
                || ::getxattr(name, "system.posix_acl_access", value, sizeof value) == list.size());
        // A file without a list gets none from its folder: user rwx, user 99 rwx, mask rwx, the rest none.
        const auto inherited = QByteArray::fromHex("02000000"
                                                   "01000700ffffffff"
                                                   "0200070063000000"
                                                   "04000000ffffffff"
                                                   "10000700ffffffff"
                                                   "20000000ffffffff");
        ::setxattr(folder.root(), "system.posix_acl_default", inherited, size_t(inherited.size()),
                   0);
        ::removexattr(name, "system.posix_acl_access");
        ::chmod(name, 0640);
        QVERIFY(save(path).isEmpty()
                && ::getxattr(name, "system.posix_acl_access", nullptr, 0) < 0);
        ::removexattr(folder.root(), "system.posix_acl_default");
        const mode_t mask = ::umask(027);
        QVERIFY(save(folder.at("new")).isEmpty() && ::stat(folder.root() + "/new", &status) == 0);
        ::umask(mask);
        QCOMPARE(int(status.st_mode & 0777), 0640);
    }

    void refusesWhatMayNotBeWritten()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"d/f", "f"});
        ::chmod(folder.root() + "/d", 0555);
        ::chmod(folder.root() + "/f", 0444);
        ::chmod(folder.root() + "/d/f", 0666);
        ::chmod(folder.root(), 0777);
        const uid_t user = ::geteuid();
        QVERIFY(user != 0 || ::seteuid(65534) == 0);
        const QByteArray replaced = save(folder.at("f")), created = save(folder.at("d/f"));
        QCOMPARE(::seteuid(user), 0);
        QCOMPARE(replaced, QByteArray("could not be replaced: Permission denied"));
        QCOMPARE(created, QByteArray("could not be created in its folder: Permission denied"));
        QCOMPARE(entriesOf(folder.root()), (Entries{"d/f", "f"}));
    }

    void keepsTheFormerOnAFullDisk()
    {
        if (::unshare(CLONE_NEWNS) != 0
            || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            QSKIP("Only the administrator may mount a file system here", );
        const TemporaryFolder folder;
        QCOMPARE(::mount("none", folder.root(), "tmpfs", 0, "size=256k"), 0);
        createEntries(folder.root(), {"f"});
        QCOMPARE(save(folder.at("f"), QByteArray(300000, 'x')),
                 QByteArray("could not be written: No space left on device"));
        QCOMPARE(entriesOf(folder.root()), Entries{"f"});
        QCOMPARE(contentsOf(folder.at("f")), QByteArray("contents"));
        ::umount2(folder.root(), MNT_DETACH);
    }

    void text()
    {
        const TemporaryFolder folder;
        const QString path = folder.at("t");
        FileUtils::saveText(QStringLiteral("Zeile ä😀\r\n"), path);
        QCOMPARE(contentsOf(path), QByteArray("Zeile ä😀\r\n"));
        QVERIFY_EXCEPTION_THROWN(FileUtils::saveText(QString(QChar(0xd800)), path), FileException);
        QVERIFY(contentsOf(path).startsWith("Zeile"));
    }
};

QTEST_GUILESS_MAIN(SaveTest)
#include "SaveTest.moc"
