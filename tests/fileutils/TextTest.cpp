#include "support/TemporaryFolder.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QBuffer>
#include <QDateTime>
#include <QTest>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

using kel::FileException;
using kel::FileUtils;

namespace {

int goodReads = -1; ///< so many, each a short one, then all fail; none does when negative
bool colonsRefused = false;

} // namespace

// These stand in the way of the system's, for Qt and the library too.
extern "C" Q_DECL_EXPORT ssize_t read(int file, void* data, size_t size)
{
    if (goodReads == 0)
        return errno = EIO, -1;
    const bool isShort = goodReads > 0 && goodReads--;
    return syscall(SYS_read, file, data, isShort ? std::min<size_t>(size, 1000) : size);
}

extern "C" Q_DECL_EXPORT int renameat(int from, const char* name, int to, const char* newName)
{
    if (colonsRefused && std::strchr(newName, ':'))
        return errno = EINVAL, -1;
    return int(syscall(SYS_renameat, from, name, to, newName));
}

/** Does \a action where no file can have more than \a size bytes, as on a full disk. */
template <class Action>
void limited(rlim_t size, Action action)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    std::swap(size, limit.rlim_cur);
    setrlimit(RLIMIT_FSIZE, &limit);
    action();
    std::swap(size, limit.rlim_cur);
    setrlimit(RLIMIT_FSIZE, &limit);
}

/** Whole files, and the comments of files. */
class TextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<TemporaryFolder>();
        m_file = path("a.avi");
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("Line\r\nline") == 10);
    }

    void reads()
    {
        QBuffer buffer;
        QVERIFY(buffer.open(QIODevice::ReadWrite));
        FileUtils::copyText(QStringLiteral("one two"), &buffer);
        QVERIFY(buffer.seek(4) && FileUtils::equalsText(&buffer, QStringLiteral("two")));
        QVERIFY(FileUtils::readText(&buffer).isEmpty() && buffer.isOpen());

        QCOMPARE(FileUtils::readText(m_file), QStringLiteral("Line\nline"));
        QCOMPARE(FileUtils::readBytes(m_file), QByteArray("Line\nline"));
        QVERIFY(FileUtils::equalsText(m_file, QStringLiteral("Line\nline")));
        QVERIFY(!FileUtils::equalsText(m_file, QStringLiteral("line\nline")));
        for (const char* path : {"/nowhere/file", "/", "/proc/self/mem"}) { // the last when read
            const QString file = QLatin1String(path);
            QVERIFY_EXCEPTION_THROWN(FileUtils::equalsText(file, QString()), FileException);
            QVERIFY_EXCEPTION_THROWN(FileUtils::readBytes(file), FileException);
        }
    }

    void failedReadIsTold()
    {
        const QByteArray data(100000, 'y');
        QCOMPARE(FileUtils::writeBytes(data, m_file), int(data.size()));
        FileUtils::comment(m_file, m_tooLong);
        for (const int good : {0, 1}) {
            goodReads = good;
            QVERIFY_EXCEPTION_THROWN(FileUtils::readText(m_file), FileException);
            goodReads = good;
            QVERIFY_EXCEPTION_THROWN(FileUtils::readBytes(m_file), FileException);
            goodReads = good;
            QVERIFY(FileUtils::comment(m_file).isEmpty()); // no part of one
            goodReads = -1;
        }
    }

    void copyTextTellsOfAFullDisk()
    {
        for (const int size : {30000, 30001, 40000}) { // a part goes, with or without a buffer
            QFile file(m_file);
            QVERIFY(file.open(QIODevice::WriteOnly));
            limited(30000, [&] { FileUtils::copyText(m_tooLong.left(size), &file); });
            QCOMPARE(file.error() == QFile::NoError, size == 30000);
        }
    }

    void writeBytesReplacesContents()
    {
        for (const QByteArray& data : {QByteArray(100000, 'y'), QByteArray("a\nb"), QByteArray()}) {
            QCOMPARE(FileUtils::writeBytes(data, m_file), int(data.size()));
            QCOMPARE(FileUtils::readBytes(m_file), data);
        }
        const QString full = QStringLiteral("/dev/full");
        QCOMPARE(FileUtils::writeBytes("x", full), -1);
        QCOMPARE(FileUtils::writeBytes(QByteArray(100000, 'y'), full), -1);
        QVERIFY_EXCEPTION_THROWN((void)FileUtils::writeBytes("x", path("no/file")), FileException);
    }

    void commentComesBack()
    {
        const QString texts[] = {QString::fromUtf8("Grüße, 日本語, עברית\n😀"), m_tooLong,
                                 QString(4096, QLatin1Char('x')), QString()};
        for (const QString& former : texts) {
            for (const QString& text : texts) {
                FileUtils::comment(m_file, former);
                QCOMPARE(FileUtils::comment(m_file), former);
                FileUtils::comment(m_file, text + QChar(QChar::Null) + former); // cut at zero
                QCOMPARE(FileUtils::comment(m_file), text);
            }
        }
        QCOMPARE(entries().size(), 1);
    }

    void commentLeavesTheFileAlone()
    {
        const QDateTime past(QDate(2020, 2, 2), QTime(2, 2));
        const auto permissions = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::ReadWrite) && file.setPermissions(permissions)
                && file.setFileTime(past, QFileDevice::FileModificationTime));
        file.close();
        for (const QString& text : {QStringLiteral("short"), m_tooLong}) {
            FileUtils::comment(m_file, text);
            QVERIFY(FileUtils::equalsText(m_file, QStringLiteral("Line\nline")));
            QCOMPARE(QFileInfo(m_file).lastModified(), past);
            QVERIFY(file.permissions() & QFile::ExeOwner);
        }
        QCOMPARE(int(QFile::permissions(path("a.avi:comment"))) & 0x7077, 0x6000); // as private
    }

    void commentIsTheDesktopsOwn()
    {
        FileUtils::comment(m_file, m_tooLong);
        const QByteArray file = QFile::encodeName(m_file);
        if (setxattr(file.constData(), "user.xdg.comment", "über", 5, 0) != 0)
            return; // a file system without such attributes
        QCOMPARE(FileUtils::comment(m_file), QString::fromUtf8("über"));
        FileUtils::comment(m_file, QString::fromUtf8("日本"));
        QByteArray value(6, '\0');
        QCOMPARE(int(getxattr(file.constData(), "user.xdg.comment", value.data(), 6)), 6);
        QCOMPARE(value, QByteArray("日本"));
        QCOMPARE(entries(), QStringList(QStringLiteral("a.avi"))); // no stale comment beside it
    }

    void commentOfTheFileHoweverItIsCalled()
    {
        QVERIFY(QFile::link(m_file, path("link")) && QDir().mkdir(path("sub")));
        for (const bool refused : {false, true}) {
            for (const auto& [called, file] : {std::pair("link", "a.avi"), {"sub/", "sub"}}) {
                colonsRefused = refused; // as on FAT
                FileUtils::comment(path(called), m_tooLong);
                colonsRefused = false;
                QVERIFY(
                    QFile::exists(path(file) + QLatin1String(refused ? ";comment" : ":comment")));
                QCOMPARE(FileUtils::comment(path(file)), m_tooLong);
                FileUtils::comment(path(called), QString());
                QCOMPARE(entries().size(), 2);
            }
        }
    }

    void othersCannotLeadACommentAstray()
    {
        QFile other(path("other"));
        QVERIFY(other.open(QIODevice::WriteOnly) && other.write("precious") == 8);
        other.close();
        QVERIFY(QFile::link(other.fileName(), path("a.avi:comment")));
        QVERIFY(FileUtils::comment(m_file).isEmpty());
        FileUtils::comment(m_file, m_tooLong);
        QCOMPARE(FileUtils::readText(other.fileName()), QStringLiteral("precious"));
        QCOMPARE(FileUtils::comment(m_file), m_tooLong);
        if (chown(QFile::encodeName(path("a.avi:comment")).constData(), 65534, 65534) == 0)
            QVERIFY(FileUtils::comment(m_file).isEmpty()); // of somebody who cannot write the file
    }

    void commentStaysOnAFullDisk()
    {
        FileUtils::comment(m_file, m_tooLong);
        limited(100, [this] { FileUtils::comment(m_file, m_tooLong + m_tooLong); });
        QCOMPARE(FileUtils::comment(m_file), m_tooLong);
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden).size(), 2);
    }

    void commentNeedsAnExistingFile()
    {
        QVERIFY(QFile::copy(m_file, path("gone:comment")));
        QVERIFY(FileUtils::comment(path("gone")).isEmpty());
        const QString cut = m_file + QChar(QChar::Null) + QLatin1Char('b'); // not "a.avi"
        for (const QString& missing : {path("missing"), path("no/file"), cut, QString()}) {
            FileUtils::comment(missing, QStringLiteral("short"));
            FileUtils::comment(missing, m_tooLong);
        }
        QVERIFY(FileUtils::comment(m_file).isEmpty());
        QCOMPARE(entries(), QStringList({QStringLiteral("a.avi"), QStringLiteral("gone:comment")}));
    }

    void commentNeedsWritePermission()
    {
        const QString texts[] = {QStringLiteral("short"), m_tooLong + m_tooLong, QString()};
        for (const QString& former : {QStringLiteral("former"), m_tooLong}) {
            FileUtils::comment(m_file, former);
            const QStringList all = entries();
            QVERIFY(QFile::setPermissions(m_file, QFile::Permissions(0x4444))
                    && QFile::setPermissions(m_folder->path(), QFile::Permissions(0x7777)));
            const bool changed = geteuid() == 0 && seteuid(65534) == 0; // nothing holds root back
            for (const QString& text : texts)
                FileUtils::comment(m_file, text);
            QVERIFY(!changed || seteuid(0) == 0);
            QCOMPARE(FileUtils::comment(m_file), former);
            QCOMPARE(entries(), all); // not in the folder either, where anybody may write
            QVERIFY(QFile::setPermissions(m_file, QFile::Permissions(0x6644)));
        }
    }

private:
    QString path(const char* name) const { return m_folder->at(name); }
    QStringList entries() const { return QDir(m_folder->path()).entryList(QDir::Files); }

    std::unique_ptr<TemporaryFolder> m_folder;
    QString m_file; // in the folder, with "Line\r\nline" in it
    const QString m_tooLong = QString(70000, QLatin1Char('x')); // for any extended attribute
};

QTEST_GUILESS_MAIN(TextTest)
#include "TextTest.moc"
