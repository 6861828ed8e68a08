#include "support/TestRegistry.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QBuffer>
#include <QDateTime>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sys/xattr.h>
#include <unistd.h>

using kel::FileException;
using kel::FileUtils;

namespace {

constexpr char attribute[] = "user.xdg.comment";
constexpr uid_t nobody = 65534;

/** Without the rights of root, which no permission holds back. */
class AsOrdinaryUser
{
public:
    AsOrdinaryUser() : m_changed(geteuid() == 0 && seteuid(nobody) == 0) { }
    ~AsOrdinaryUser()
    {
        if (m_changed && seteuid(0) != 0)
            qFatal("The test stays without its rights.");
    }

private:
    const bool m_changed;
};

} // namespace

/** Whole files, and the comments of files. */
class TextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void devices();
    void readsFiles();
    void unreadableFilesThrow();
    void writeBytesReplacesContents();
    void writeBytesReportsFailure();
    void commentComesBack_data();
    void commentComesBack();
    void commentLeavesTheFileAlone();
    void commentIsTheDesktopsOwn();
    void commentNeedsAnExistingFile();
    void commentNeedsWritePermission();

private:
    QString path(const char* name) const { return m_folder->filePath(QLatin1String(name)); }
    QStringList entries() const { return QDir(m_folder->path()).entryList(QDir::Files); }
    bool setAttribute(const char* value) const;

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_file; // in the folder, with "Line\r\nline" in it
    const QString m_tooLong = QString(70000, QLatin1Char('x')); // for any extended attribute
};

void TextTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_file = path("a.avi");
    QFile file(m_file);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("Line\r\nline") == 10);
}

/** False on a file system without such attributes. */
bool TextTest::setAttribute(const char* value) const
{
    return setxattr(QFile::encodeName(m_file).constData(), attribute, value, qstrlen(value), 0)
           == 0;
}

void TextTest::devices()
{
    QBuffer buffer;
    QVERIFY(buffer.open(QIODevice::ReadWrite));
    FileUtils::copyText(QStringLiteral("one two"), &buffer);
    QVERIFY(buffer.seek(4));
    QVERIFY(FileUtils::equalsText(&buffer, QStringLiteral("two")));
    QVERIFY(FileUtils::readText(&buffer).isEmpty() && buffer.isOpen());
}

void TextTest::readsFiles()
{
    QCOMPARE(FileUtils::readText(m_file), QStringLiteral("Line\nline"));
    QCOMPARE(FileUtils::readBytes(m_file), QByteArray("Line\nline"));
    QVERIFY(FileUtils::equalsText(m_file, QStringLiteral("Line\nline")));
    QVERIFY(!FileUtils::equalsText(m_file, QStringLiteral("line\nline")));
}

void TextTest::unreadableFilesThrow()
{
    for (const char* path : {"/nowhere/file", "/", "/proc/self/mem"}) { // the last when it is read
        const QString file = QLatin1String(path);
        QVERIFY_EXCEPTION_THROWN(FileUtils::equalsText(file, QString()), FileException);
        QVERIFY_EXCEPTION_THROWN(FileUtils::readBytes(file), FileException);
    }
}

void TextTest::writeBytesReplacesContents()
{
    for (const QByteArray& data : {QByteArray(100000, 'y'), QByteArray("a\nb"), QByteArray()}) {
        for (const QString& file : {path("new"), m_file}) {
            QCOMPARE(FileUtils::writeBytes(data, file), int(data.size()));
            QCOMPARE(FileUtils::readBytes(file), data);
        }
    }
}

void TextTest::writeBytesReportsFailure()
{
    const QString full = QStringLiteral("/dev/full");
    QCOMPARE(FileUtils::writeBytes("x", full), -1);
    QCOMPARE(FileUtils::writeBytes(QByteArray(100000, 'y'), full), -1);
    QCOMPARE(FileUtils::writeBytes("x", QStringLiteral("/dev/null")), 1);
    QVERIFY_EXCEPTION_THROWN(FileUtils::writeBytes("x", path("none/file")), FileException);
}

void TextTest::commentComesBack_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto row
        = [](const char* title, const QString& text) { QTest::newRow(title) << text << text; };
    row("any language", QString::fromUtf8("Grüße, 日本語, עברית\n😀"));
    row("about what an attribute takes", QString(4096, QLatin1Char('x')));
    row("too long for an attribute", m_tooLong);
    QTest::newRow("cut at zero") << QString(QLatin1String("ab\0cd", 5)) << QStringLiteral("ab");
}

void TextTest::commentComesBack()
{
    QFETCH(QString, text);
    QVERIFY(QFile::link(m_file, path("link")));
    for (const QString& path : {m_file, m_folder->path(), path("link")}) {
        for (const QString& former : {QString(), QStringLiteral("short"), m_tooLong}) {
            FileUtils::comment(path, former);
            FileUtils::comment(path, text);
            QTEST(FileUtils::comment(path), "expected");
        }
        FileUtils::comment(path, QString());
        QVERIFY(FileUtils::comment(path).isEmpty());
    }
    QCOMPARE(entries(), QStringList({QStringLiteral("a.avi"), QStringLiteral("link")}));
}

void TextTest::commentLeavesTheFileAlone()
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

void TextTest::commentIsTheDesktopsOwn()
{
    FileUtils::comment(m_file, m_tooLong);
    if (!setAttribute("über"))
        return;
    QCOMPARE(FileUtils::comment(m_file), QString::fromUtf8("über"));
    FileUtils::comment(m_file, QString::fromUtf8("日本"));
    QByteArray value(6, '\0');
    QCOMPARE(int(getxattr(QFile::encodeName(m_file).constData(), attribute, value.data(), 6)), 6);
    QCOMPARE(value, QByteArray("日本"));
    QCOMPARE(entries(), QStringList(QStringLiteral("a.avi"))); // and no stale comment beside it
}

void TextTest::commentNeedsAnExistingFile()
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

void TextTest::commentNeedsWritePermission()
{
    FileUtils::comment(m_file, QStringLiteral("former"));
    QVERIFY(QFile::setPermissions(m_file, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther)
            && QFile::setPermissions(m_folder->path(), QFile::Permissions(0x7777)));
    const AsOrdinaryUser user;
    for (const QString& text : {QStringLiteral("short"), m_tooLong, QString()}) {
        FileUtils::comment(m_file, text);
        QCOMPARE(FileUtils::comment(m_file), QStringLiteral("former"));
    }
}

QUARN_TEST(TextTest)
#include "TextTest.moc"
