#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QBuffer>
#include <QDateTime>
#include <QTest>

#if QUARN_HAS_POSIX
#include <sys/syscall.h>
#include <sys/xattr.h>
#endif

#include <cerrno>
#include <cstring>
#include <utility>

using kel::FileException;
using kel::FileUtils;

#if QUARN_HAS_POSIX

static bool colonsRefused = false;

// Stands in the way of the system's, for the library too.
extern "C" Q_DECL_EXPORT int renameat(int from, const char* name, int to, const char* newName)
{
    if (colonsRefused && std::strchr(newName, ':'))
        return errno = EINVAL, -1;
    return int(syscall(SYS_renameat, from, name, to, newName));
}

#endif

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
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("Line\r\nline") == 10
                && file.setPermissions(QFile::Permissions(0x6644)));
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
        for (const char* path : {"/nowhere/file", "/"}) {
            const QString file = QLatin1String(path);
            QVERIFY_EXCEPTION_THROWN(FileUtils::equalsText(file, QString()), FileException);
            QVERIFY_EXCEPTION_THROWN(FileUtils::readBytes(file), FileException);
        }
    }

    void writeBytesReplacesContents()
    {
        for (const QByteArray& data : {QByteArray(100000, 'y'), QByteArray("a\nb"), QByteArray()}) {
            QCOMPARE(FileUtils::writeBytes(data, m_file), int(data.size()));
            QCOMPARE(FileUtils::readBytes(m_file), data);
        }
        QVERIFY_EXCEPTION_THROWN((void)FileUtils::writeBytes("x", path("no/file")), FileException);
    }

    void commentComesBack()
    {
        if (!hasComments())
            QSKIP("This file system has no named streams", );
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
        if (hasPosix) // Wine keeps a stream in a file
            QCOMPARE(entries(), Entries{"a.avi"});
    }

#if QUARN_HAS_POSIX // where a file of its own may be the comment's place

    void commentIsTheDesktopsOwnAndLeavesTheFileAlone()
    {
        const QDateTime past(QDate(2020, 2, 2), QTime(2, 2));
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::ReadWrite) && file.setPermissions(QFile::Permissions(0x7700))
                && file.setFileTime(past, QFileDevice::FileModificationTime));
        file.close();
        FileUtils::comment(m_file, m_tooLong);
        QCOMPARE(int(QFile::permissions(path("a.avi:comment"))) & 0x7077, 0x6000); // as private
        const QByteArray name = QFile::encodeName(m_file);
        if (setxattr(name.constData(), "user.xdg.comment", "über", 5, 0) == 0) {
            QCOMPARE(FileUtils::comment(m_file), QString::fromUtf8("über"));
            FileUtils::comment(m_file, QString::fromUtf8("日本"));
            QByteArray value(6, '\0');
            QCOMPARE(int(getxattr(name.constData(), "user.xdg.comment", value.data(), 6)), 6);
            QCOMPARE(value, QByteArray("日本"));
            QCOMPARE(entries(), Entries{"a.avi"}); // no stale comment beside it
        }
        QVERIFY(FileUtils::equalsText(m_file, QStringLiteral("Line\nline")));
        QCOMPARE(QFileInfo(m_file).lastModified(), past);
        QVERIFY(file.permissions() & QFile::ExeOwner);
    }

    void commentOfTheFileHoweverItIsCalled()
    {
        createEntries(m_folder->root(), {"link>a.avi", "sub/"});
        for (const bool refused : {false, true}) {
            for (const auto& [called, file] : {std::pair("link", "a.avi"), {"sub/", "sub"}}) {
                colonsRefused = refused; // as on FAT
                FileUtils::comment(path(called), m_tooLong);
                colonsRefused = false;
                QVERIFY(
                    QFile::exists(path(file) + QLatin1String(refused ? ";comment" : ":comment")));
                QCOMPARE(FileUtils::comment(path(file)), m_tooLong);
                FileUtils::comment(path(called), QString());
                QCOMPARE(entries(), Entries({"a.avi", "link", "sub/"}));
            }
        }
    }

    void othersCannotLeadACommentAstray()
    {
        const QString beside = path("a.avi:comment");
        createEntries(m_folder->root(), {"other", "a.avi:comment>other"});
        QVERIFY(FileUtils::comment(m_file).isEmpty());
        FileUtils::comment(m_file, m_tooLong);
        QVERIFY(FileUtils::equalsText(path("other"), QStringLiteral("contents")));
        QCOMPARE(FileUtils::comment(m_file), m_tooLong);
        if (chown(QFile::encodeName(beside).constData(), 65533, 65533) == 0)
            QVERIFY(FileUtils::comment(m_file).isEmpty()); // of somebody who cannot write the file
        QVERIFY(QFile::remove(beside) && QDir().mkdir(beside));
        FileUtils::comment(m_file, m_tooLong);
        QCOMPARE(entries(), Entries({"a.avi", "a.avi:comment/", "other"})); // no part of one
    }

    void commentNeedsAnExistingFile()
    {
        createEntries(m_folder->root(), {"gone:comment"});
        QVERIFY(FileUtils::comment(path("gone")).isEmpty());
        for (const QString& missing : {path("missing"), path("no/file"), QString()}) {
            FileUtils::comment(missing, QStringLiteral("short"));
            FileUtils::comment(missing, m_tooLong);
        }
        QCOMPARE(entries(), Entries({"a.avi", "gone:comment"}));
    }

    void commentNeedsWritePermission()
    {
        for (const QString& former : {QStringLiteral("former"), m_tooLong}) {
            FileUtils::comment(m_file, former);
            const Entries all = entries();
            QVERIFY(QFile::setPermissions(m_file, QFile::Permissions(0x4444))
                    && QFile::setPermissions(m_folder->path(), QFile::Permissions(0x7777)));
            const bool changed = geteuid() == 0 && seteuid(65534) == 0; // nothing holds root back
            for (const QString& text : {QStringLiteral("short"), m_tooLong + m_tooLong, QString()})
                FileUtils::comment(m_file, text);
            QVERIFY(!changed || seteuid(0) == 0);
            QCOMPARE(FileUtils::comment(m_file), former);
            QCOMPARE(entries(), all); // not in the folder either, where anybody may write
            QVERIFY(QFile::setPermissions(m_file, QFile::Permissions(0x6644)));
        }
    }

#endif

private:
    bool hasComments() const
    {
        return hasPosix || QFile(m_file + QStringLiteral(":x")).open(QIODevice::WriteOnly);
    }
    QString path(const char* name) const
    {
        return m_folder->at(name);
    }
    Entries entries() const
    {
        return entriesOf(m_folder->root());
    }

    std::unique_ptr<TemporaryFolder> m_folder;
    QString m_file; // in the folder, with "Line\r\nline" in it
    const QString m_tooLong = QString(70000, QLatin1Char('x')); // for any extended attribute
};

QTEST_GUILESS_MAIN(TextTest)
#include "TextTest.moc"
