#include <Quarn/fileutils/ExplorerCommand_p.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QDBusConnection>
#include <QDBusContext>
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
    void initTestCase()
    {
        if (m_bus.isEmpty())
            QSKIP("Needs a session bus of its own: dbus-run-session", );
        QVERIFY(QDir().mkpath(path("bin")) && QDir().mkpath(path("a b")));
        for (const char* const program : {"bin/xdg-open", "bin/dbus-launch"}) {
            QFile script(path(program));
            QVERIFY(script.open(QIODevice::WriteOnly));
            script.write("#!/bin/sh\nprintf %s \"$1\" > \"$0.new\"\nmv \"$0.new\" \"$0.called\"\n");
            script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        }
        qputenv("PATH", QFile::encodeName(path("bin")) + ':' + m_searchPath);
        qunsetenv("XDG_RUNTIME_DIR"); // may hold the bus of the user
        qputenv("DISPLAY", ":none"); // a bus is only started where there is one
        QVERIFY(QDBusConnection::sessionBus().registerObject(
            QStringLiteral("/org/freedesktop/FileManager1"), &m_manager,
            QDBusConnection::ExportAllSlots));
    }

    void init()
    {
        m_manager.shown.clear();
        m_manager.fails = false;
        QVERIFY(QDBusConnection::sessionBus().registerService(service));
    }

    void asksTheFileManager()
    {
        const QString special = QStringLiteral("a, b#c%20?;'é語");
        QVERIFY(QFile(QDir(path("a b")).filePath(special)).open(QIODevice::WriteOnly));
        const QString folder = QStringLiteral("file://%1/a%20b").arg(m_folder.path());
        const QString escaped = QStringLiteral("/a,%20b%23c%2520%3F;'%C3%A9%E8%AA%9E");
        FileUtils::showDesktopWindow(path("a b"), special);
        QTRY_COMPARE(m_manager.shown, QStringList(folder + escaped));
        FileUtils::showDesktopWindow(path("a b"), QStringLiteral("none"));
        FileUtils::showDesktopWindow(path("none"));
        FileUtils::showDesktopWindow(path("a b"));
        QTRY_COMPARE(m_manager.shown, QStringList({folder + escaped, folder}));
        QCOMPARE(opened(), QByteArray());
    }

    void opensTheFolderInstead_data()
    {
        QTest::addColumn<QByteArray>("bus");
        QTest::addColumn<bool>("managed");
        QTest::newRow("file manager fails") << m_bus << true;
        QTest::newRow("no file manager") << m_bus << false;
        QTest::newRow("no such bus") << QByteArray("unix:path=/nowhere") << true;
        QTest::newRow("no bus") << QByteArray() << true;
        QTest::newRow("a bus to be started") << QByteArray("autolaunch:") << true;
        QTest::newRow("a bus that does not answer") << silentBus() << true;
    }

    void opensTheFolderInstead()
    {
        QFETCH(QByteArray, bus);
        QFETCH(bool, managed);
        m_manager.fails = true;
        if (!managed)
            QDBusConnection::sessionBus().unregisterService(service);
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
        // Any thread may ask, and is gone when the answer comes.
        const std::unique_ptr<QThread> thread(
            QThread::create([this] { FileUtils::showDesktopWindow(path("a b")); }));
        thread->start();
        QVERIFY(thread->wait(2000));
        QTRY_COMPARE_WITH_TIMEOUT(opened(), QFile::encodeName(m_folder.path()), 20000);
        QCOMPARE(m_manager.shown.size(), managed && bus == m_bus ? 1 : 0);
        QVERIFY(!QFileInfo::exists(path("bin/dbus-launch.called")));
    }

    void buildsTheExplorerCommand()
    {
        const QString item = QStringLiteral("C:/My Data/a  b.avi");
        QVERIFY(QFile(path("bin/explorer.exe")).open(QIODevice::WriteOnly));
        const auto found = explorerCommand(item, QStringLiteral("/nowhere;") + path("bin"));
        QCOMPARE(found.program, FileUtils::nativePath(path("bin/explorer.exe")));
        QCOMPARE(found.arguments.join(QLatin1Char('|')),
                 QStringLiteral("/select,C:\\My|Data\\a||b.avi"));
        QCOMPARE(explorerCommand(item, QStringLiteral("/nowhere")).program,
                 QStringLiteral("explorer.exe"));
    }

    void cleanup()
    {
        QFile::remove(path("bin/xdg-open.called"));
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus);
        QDBusConnection::sessionBus().unregisterService(service);
    }

    void cleanupTestCase() { qputenv("PATH", m_searchPath); }

private:
    QString path(const char* name) const { return m_folder.filePath(QString::fromUtf8(name)); }

    QByteArray opened() const
    {
        QFile file(path("bin/xdg-open.called"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /** The address of a bus that listens and never accepts. */
    QByteArray silentBus()
    {
        QFile::remove(path("bus"));
        const QByteArray name = QFile::encodeName(path("bus"));
        const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::copy(name.begin(), name.end(), address.sun_path);
        ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
        return ::listen(listener, 0) == 0 ? "unix:path=" + name : QByteArray("no socket");
    }

    const QByteArray m_bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray m_searchPath = qgetenv("PATH");
    QTemporaryDir m_folder;
    FileManager m_manager;
};

QTEST_GUILESS_MAIN(DesktopTest)
#include "DesktopTest.moc"
