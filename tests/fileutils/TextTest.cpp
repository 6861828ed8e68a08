#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QBuffer>
#include <QDateTime>
#include <QTemporaryDir>
#include <QTest>

#include <sys/xattr.h>
#include <unistd.h>

using kel::FileException;
using kel::FileUtils;

/** Whole files, and the comments of files. */
class TextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
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

    void writeBytesReplacesContents()
    {
        for (const QByteArray& data : {QByteArray(100000, 'y'), QByteArray("a\nb"), QByteArray()}) {
            QCOMPARE(FileUtils::writeBytes(data, m_file), int(data.size()));
            QCOMPARE(FileUtils::readBytes(m_file), data);
        }
        const QString full = QStringLiteral("/dev/full");
        QCOMPARE(FileUtils::writeBytes("x", full), -1);
        QCOMPARE(FileUtils::writeBytes(QByteArray(100000, 'y'), full), -1);
        QVERIFY_EXCEPTION_THROWN(FileUtils::writeBytes("x", path("none/file")), FileException);
    }

    void commentComesBack()
    {
        QVERIFY(QFile::link(m_file, path("link")));
        const QString texts[] = {QString::fromUtf8("Grüße, 日本語, עברית\n😀"), m_tooLong,
                                 QString(4096, QLatin1Char('x')), QString()};
        for (const QString& path : {m_file, m_folder->path(), path("link")}) {
            for (const QString& former : texts) {
                for (const QString& text : texts) {
                    FileUtils::comment(path, former);
                    QCOMPARE(FileUtils::comment(path), former);
                    FileUtils::comment(path, text + QChar(QChar::Null) + former); // cut at zero
                    QCOMPARE(FileUtils::comment(path), text);
                }
            }
        }
        QCOMPARE(entries(), QStringList({QStringLiteral("a.avi"), QStringLiteral("link")}));
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
        FileUtils::comment(m_file, QStringLiteral("former"));
        QVERIFY(
            QFile::setPermissions(m_file, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther)
            && QFile::setPermissions(m_folder->path(), QFile::Permissions(0x7777)));
        const bool changed = geteuid() == 0 && seteuid(65534) == 0; // no permission holds root back
        QStringList left;
        for (const QString& text : {QStringLiteral("short"), m_tooLong, QString()}) {
            FileUtils::comment(m_file, text);
            left << FileUtils::comment(m_file);
        }
        QVERIFY(!changed || seteuid(0) == 0);
        QCOMPARE(left.count(QStringLiteral("former")), 3);
    }

private:
    QString path(const char* name) const { return m_folder->filePath(QLatin1String(name)); }
    QStringList entries() const { return QDir(m_folder->path()).entryList(QDir::Files); }

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_file; // in the folder, with "Line\r\nline" in it
    const QString m_tooLong = QString(70000, QLatin1Char('x')); // for any extended attribute
};

QTEST_GUILESS_MAIN(TextTest)
#include "TextTest.moc"
