#include "support/TestRegistry.h"

#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/platform/ExplorerCommand_p.h>

#include <QDBusConnection>
#include <QDBusContext>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUrl>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace kel;

namespace {

const QString service = QStringLiteral("org.freedesktop.FileManager1");

} // namespace

/** Stands for the desktop's file manager. */
class FileManager : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QStringList shown;
    bool fails = false;

public Q_SLOTS:
    void ShowItems(const QStringList& uris, const QString&)
    {
        shown << uris;
        if (fails)
            sendErrorReply(QStringLiteral("org.freedesktop.DBus.Error.Failed"), QString());
    }
};

/** Showing a file: a private session bus, and an xdg-open that just notes what it was given. */
class DesktopTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void asksTheFileManager_data();
    void asksTheFileManager();
    void asksFromAnyThread();
    void opensTheFolderInstead_data();
    void opensTheFolderInstead();
    void doesNothingForNothing();
    void buildsTheExplorerCommand();
    void cleanup();

private:
    QString path(const char* name) const { return m_folder.filePath(QString::fromUtf8(name)); }
    QByteArray opened() const;

    QTemporaryDir m_folder;
    QByteArray m_bus;
    QByteArray m_searchPath;
    FileManager m_manager;
};

void DesktopTest::initTestCase()
{
    m_bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    if (m_bus.isEmpty())
        QSKIP("Needs a session bus of its own: dbus-run-session", );
    m_searchPath = qgetenv("PATH");
    QVERIFY(QDir().mkpath(path("bin")));
    for (const char* const program : {"bin/xdg-open", "bin/dbus-launch"}) {
        QFile script(path(program));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\nprintf %s \"$1\" > \"$0.new\"\nmv \"$0.new\" \"$0.called\"\n");
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QVERIFY(QDir().mkpath(path("a b")));
    QVERIFY(QDBusConnection::sessionBus().registerObject(
        QStringLiteral("/org/freedesktop/FileManager1"), &m_manager,
        QDBusConnection::ExportAllSlots));
}

void DesktopTest::init()
{
    qputenv("PATH", QFile::encodeName(path("bin")) + ':' + m_searchPath);
    m_manager.shown.clear();
    m_manager.fails = false;
    QVERIFY(QDBusConnection::sessionBus().registerService(service));
}

void DesktopTest::cleanup()
{
    QFile::remove(path("bin/xdg-open.called"));
    qputenv("PATH", m_searchPath);
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus);
    qunsetenv("XDG_RUNTIME_DIR");
    QDBusConnection::sessionBus().unregisterService(service);
}

QByteArray DesktopTest::opened() const
{
    QFile file(path("bin/xdg-open.called"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void DesktopTest::asksTheFileManager_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("escaped");
    QTest::newRow("plain") << QStringLiteral("f.txt") << QByteArray("/f.txt");
    QTest::newRow("special characters")
        << QStringLiteral("a, b#c%20?;'é語") << QByteArray("/a,%20b%23c%2520%3F;'%C3%A9%E8%AA%9E");
    QTest::newRow("the folder itself") << QString() << QByteArray();
}

void DesktopTest::asksTheFileManager()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, escaped);
    const QString folder = path("a b");
    QVERIFY(file.isEmpty() || QFile(QDir(folder).filePath(file)).open(QIODevice::WriteOnly));
    FileUtils::showDesktopWindow(folder, file);
    const QString uri = QStringLiteral("file://") + m_folder.path() + QStringLiteral("/a%20b")
                        + QString::fromLatin1(escaped);
    QTRY_COMPARE(m_manager.shown, QStringList(uri));
}

void DesktopTest::asksFromAnyThread()
{
    const std::unique_ptr<QThread> thread(
        QThread::create([this] { FileUtils::showDesktopWindow(path("a b")); }));
    m_manager.fails = true;
    thread->start();
    QVERIFY(thread->wait());
    QTRY_COMPARE(opened(), QFile::encodeName(m_folder.path()));
    QCOMPARE(m_manager.shown.size(), 1);
}

void DesktopTest::opensTheFolderInstead_data()
{
    QTest::addColumn<QByteArray>("bus");
    QTest::addColumn<bool>("managed");
    QTest::addColumn<int>("asked");
    QTest::newRow("file manager fails") << m_bus << true << 1;
    QTest::newRow("no file manager") << m_bus << false << 0;
    QTest::newRow("no such bus") << QByteArray("unix:path=/nowhere") << true << 0;
    QTest::newRow("no bus") << QByteArray() << true << 0;
    QTest::newRow("a bus to be started") << QByteArray("autolaunch:") << true << 0;
    QTest::newRow("a bus that does not answer") << QByteArray("unix:abstract=") << true << 0;
}

void DesktopTest::opensTheFolderInstead()
{
    QFETCH(QByteArray, bus);
    QFETCH(bool, managed);
    QFETCH(int, asked);
    m_manager.fails = true;
    if (!managed)
        QDBusConnection::sessionBus().unregisterService(service);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bus.endsWith("abstract=")) {
        bus += "quarn-test-" + QByteArray::number(::getpid());
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray name = '\0' + bus.mid(bus.indexOf('=') + 1);
        std::copy(name.begin(), name.end(), address.sun_path);
        const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + size_t(name.size()));
        QCOMPARE(::bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
        QCOMPARE(::listen(listener, 0), 0);
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
    qputenv("DISPLAY", ":none"); // a bus is only started where there is one
    QElapsedTimer timer;
    timer.start();
    FileUtils::showDesktopWindow(path("a b"));
    QVERIFY(timer.elapsed() < 2000);
    QTRY_COMPARE_WITH_TIMEOUT(opened(), QFile::encodeName(m_folder.path()), 20000);
    QCOMPARE(m_manager.shown.size(), asked);
    QVERIFY(!QFileInfo::exists(path("bin/dbus-launch.called")));
    ::close(listener);
}

void DesktopTest::doesNothingForNothing()
{
    FileUtils::showDesktopWindow(path("a b"), QStringLiteral("none"));
    FileUtils::showDesktopWindow(path("none"));
    FileUtils::showDesktopWindow(path("a b")); // answered after the others
    QTRY_COMPARE(m_manager.shown.size(), 1);
    QCOMPARE(opened(), QByteArray());
}

void DesktopTest::buildsTheExplorerCommand()
{
    const QString item = QStringLiteral("C:/My Data/a  b.avi");
    QVERIFY(QFile(path("bin/explorer.exe")).open(QIODevice::WriteOnly));
    const ExplorerCommand found = explorerCommand(item, QStringLiteral("/nowhere;") + path("bin"));
    QCOMPARE(found.program, FileUtils::nativePath(path("bin/explorer.exe")));
    QCOMPARE(found.arguments.join(QLatin1Char('|')),
             QStringLiteral("/select,C:\\My|Data\\a||b.avi"));
    QCOMPARE(explorerCommand(item, QStringLiteral("/nowhere")).program,
             QStringLiteral("explorer.exe"));
}

QUARN_TEST(DesktopTest)
#include "DesktopTest.moc"
