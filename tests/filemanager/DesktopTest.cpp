#include <Quarn/fileutils/ExplorerCommand_p.h>
#include <Quarn/fileutils/FileUtils.h>

#include <support/TemporaryFolder.h>
#include <support/Thread.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVirtualObject>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>

#include <optional>
#include <tuple>

using namespace kel;

/** The sockets that the process has open. */
static QStringList openSockets()
{
    QStringList sockets;
    for (const QFileInfo& open : QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::System))
        sockets << open.symLinkTarget().section(QLatin1Char('/'), -1);
    return sockets.filter(QStringLiteral("socket:"));
}

/** Stands for the file manager and the portal of the desktop. */
class Desktop : public QDBusVirtualObject
{
public:
    QStringList asked; // a URI by the one, a path by the other
    bool managerFails = false;
    uint portalsResponse = 0;

    QString introspect(const QString&) const override { return QString(); }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override
    {
        if (message.member() == QStringLiteral("ShowItems")) {
            asked << message.arguments().constFirst().toStringList();
            return bus.send(managerFails ? message.createErrorReply(QDBusError::Failed, QString())
                                         : message.createReply());
        }
        const auto item = message.arguments().at(1).value<QDBusUnixFileDescriptor>();
        const QString name = QStringLiteral("/proc/self/fd/%1").arg(item.fileDescriptor());
        asked << QFile::symLinkTarget(name);
        const QString handle = message.path() + QStringLiteral("/request/1");
        auto response = QDBusMessage::createTargetedSignal(
            message.service(), handle, QStringLiteral("org.freedesktop.portal.Request"),
            QStringLiteral("Response"));
        bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(handle))));
        return bus.send(response << portalsResponse << QVariantMap());
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
        QVERIFY(QDir().mkpath(m_folder.at("bin")) && QDir().mkpath(m_folder.at("a b")));
        QFile script(m_folder.at("bin/xdg-open"));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\necho $1 `readlink /proc/$$/fd/2` >$0.new\nmv $0.new $0.called");
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        script.close();
        qputenv("PATH", m_folder.root() + "/bin:" + qgetenv("PATH"));
        qputenv("XDG_RUNTIME_DIR", m_folder.root()); // else that may hold the bus of the user
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerVirtualObject(QStringLiteral("/org/freedesktop"), &m_desktop,
                                          QDBusConnection::SubPath));
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.FileManager1")));
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    }

    void asksTheFileManager()
    {
        const QStringList sockets = openSockets();
        QStringList expected;
        const auto show = [&](const QString& name, const QString& escaped) {
            QFile(QDir(m_folder.at("a b")).filePath(name)).open(QIODevice::WriteOnly);
            FileUtils::showDesktopWindow(m_folder.at("a b"), name);
            expected << QStringLiteral("file://%1/a%20b").arg(m_folder.path()) + escaped;
        };
        show(QStringLiteral("a, b#c%20?;'é語"),
             QStringLiteral("/a,%20b%23c%2520%3F;'%C3%A9%E8%AA%9E"));
        FileUtils::showDesktopWindow(m_folder.at("a b"), QStringLiteral("none"));
        FileUtils::showDesktopWindow(m_folder.at("none"));
        for (int i = 0; i < 20; ++i)
            show(QString::number(i), QStringLiteral("/%1").arg(i));
        show(QString(), QString());
        QTRY_COMPARE(m_desktop.asked, expected);
        QTRY_COMPARE(openSockets(), sockets);
        QCOMPARE(opened(), QByteArray());
    }

    void opensTheFolderInstead()
    {
        // The bus; whether the file manager fails there; what the portal of a sandbox responds; who
        // is asked (none, the file manager, the portal too); whether xdg-open is started.
        const std::tuple<QByteArray, bool, std::optional<uint>, int, bool> rows[]
            = {{m_bus, true, std::nullopt, 1, true},
               {m_bus, true, 0, 2, false},
               {m_bus, true, 2, 2, true},
               {"unix:path=/nowhere;" + m_bus, false, std::nullopt, 1, false},
               {silentBus("bus", false).left(0), false, std::nullopt, 0, true},
               {"tcp:host=localhost;unix:tmpdir=/tmp;unix:path=/" + QByteArray(200, 'x')
                    + ";unix:abstract=quarn-nobody",
                false, std::nullopt, 0, true},
               {silentBus("silent", false), false, std::nullopt, 0, true},
               {silentBus("full", true), false, std::nullopt, 0, true}};
        const QString folder = m_folder.at("a b");
        const QStringList all = {QStringLiteral("file://%1/a%20b").arg(m_folder.path()), folder};
        const QStringList sockets = openSockets();
        for (const auto& [bus, fails, response, asked, opens] : rows) {
            const QByteArray name = bus + ' ' + QByteArray::number(response.value_or(0));
            m_desktop.managerFails = fails;
            m_desktop.portalsResponse = response.value_or(0);
            response ? qputenv("SNAP", "/snap") : qunsetenv("SNAP");
            qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
            // Any thread may ask, and is gone when the answer comes.
            Thread thread([&] { FileUtils::showDesktopWindow(folder); });
            thread.start();
            QVERIFY2(thread.wait(20000), name);
            QTRY_VERIFY2(m_desktop.asked == all.mid(0, asked), name);
            QTRY_VERIFY2_WITH_TIMEOUT(opens == !opened().isEmpty(), name, 20000);
            QTRY_VERIFY2(openSockets() == sockets, name);
            QCOMPARE(opened(), opens ? m_folder.root() + " /dev/null\n" : QByteArray());
            cleanup();
        }
    }

    void buildsTheExplorerCommand()
    {
        const QString item = QStringLiteral("C:/My Data/a  b.avi"), none = QStringLiteral("/none");
        const QString explorer = m_folder.at("explorer.exe");
        QVERIFY(QFile(explorer).open(QIODevice::WriteOnly));
        const auto found = explorerCommand(item, none + QLatin1Char(';') + m_folder.path());
        QCOMPARE(found.program, FileUtils::nativePath(explorer));
        QCOMPARE(found.arguments.join(QChar(u'|')),
                 QStringLiteral("/select,C:\\My|Data\\a||b.avi"));
        QCOMPARE(explorerCommand(item, none).program, QStringLiteral("explorer.exe"));
    }

    void cleanup()
    {
        QFile::remove(m_folder.at("bin/xdg-open.called"));
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus);
        m_desktop.asked.clear();
    }

private:
    QByteArray opened() const { return m_folder.contents("bin/xdg-open.called"); }

    /** The address of a bus that listens and never accepts, with room for one more or for none. */
    QByteArray silentBus(const char* name, bool full)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray path = m_folder.root() + '/' + name;
        std::copy(path.begin(), path.end(), address.sun_path);
        const auto* const socketAddress = reinterpret_cast<sockaddr*>(&address);
        const auto newSocket = [] { return ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0); };
        const int listener = newSocket();
        if (::bind(listener, socketAddress, sizeof address) != 0 || ::listen(listener, 0) != 0)
            return "no socket";
        while (full && ::connect(newSocket(), socketAddress, sizeof address) == 0) { }
        return "unix:path=" + path;
    }

    const QByteArray m_bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    TemporaryFolder m_folder;
    Desktop m_desktop;
};

QTEST_GUILESS_MAIN(DesktopTest)
#include "DesktopTest.moc"
