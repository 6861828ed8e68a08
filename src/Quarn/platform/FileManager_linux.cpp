#include <Quarn/platform/FileManager_p.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <QUrl>

#include <atomic>

namespace kel {
namespace {

constexpr int greetingMsecs = 5000;

/** The session bus that is there; empty when there is none, or only a way to start one. */
QString sessionBusAddress()
{
    const QString given = QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    QStringList addresses = given.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (int i = int(addresses.size()) - 1; i >= 0; --i) {
        if (addresses.at(i).startsWith(QLatin1String("autolaunch:")))
            addresses.removeAt(i);
    }
    const QByteArray socket = qgetenv("XDG_RUNTIME_DIR") + "/bus";
    if (given.isEmpty() && QFileInfo::exists(QString::fromLocal8Bit(socket)))
        return QStringLiteral("unix:path=") + QLatin1String(socket.toPercentEncoding("/", "~"));
    return addresses.join(QLatin1Char(';'));
}

void openFolder(const QString& folder)
{
    QProcess::startDetached(QStringLiteral("xdg-open"), {folder});
}

QDBusMessage greeting()
{
    return QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("Hello"));
}

QDBusMessage showItems(const QString& item)
{
    const QString uri = QString::fromLatin1(QUrl::fromLocalFile(item).toEncoded());
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    message << QStringList(uri) << QString();
    return message;
}

/** Waits for the answers of the bus and of the file manager, and opens the folder on a failure. */
class Answers : public QObject
{
public:
    Answers(const QString& connection, const QString& folder, const QDBusPendingCall& greeted,
            const QDBusPendingCall& shown, QObject* owner)
        : QObject(owner), m_connection(connection), m_folder(folder), m_greeted(greeted),
          m_shown(shown)
    {
        connect(&m_greeted, &QDBusPendingCallWatcher::finished, this, [this] {
            if (m_greeted.isError())
                finish();
        });
        connect(&m_shown, &QDBusPendingCallWatcher::finished, this, &Answers::finish);
    }

private:
    void finish()
    {
        disconnect(&m_greeted, nullptr, this, nullptr);
        disconnect(&m_shown, nullptr, this, nullptr);
        // A bus that wakes up late must not show the item beside the folder.
        QDBusConnection::disconnectFromPeer(m_connection);
        if (m_greeted.isError() || m_shown.isError())
            openFolder(m_folder);
        deleteLater();
    }

    const QString m_connection;
    const QString m_folder;
    QDBusPendingCallWatcher m_greeted;
    QDBusPendingCallWatcher m_shown;
};

/** What still waits when the process ends or the library is unloaded goes with this. */
QObject* answersOwner()
{
    static QObject owner;
    return &owner;
}

} // namespace

/*
 * QDBusConnection::sessionBus() waits for the bus, and may start one. A peer connection is only
 * opened; all that follows is up to QtDBus's own thread, which the process can end at any time. So
 * the bus is connected to as a peer, and given the greeting that makes this a connection to a bus
 * as an ordinary call. Opening is a connect() to a local socket: it returns at once unless the bus
 * hangs and as many programs as its queue holds already wait for it.
 */
void showInFileManager(const QString& item)
{
    static std::atomic<int> count = 0;
    const QString folder = QFileInfo(item).absolutePath();
    const QString address = sessionBusAddress();
    QCoreApplication* const application = QCoreApplication::instance();
    if (address.isEmpty() || !application) {
        openFolder(folder);
        return;
    }
    const QString name = QStringLiteral("kel::FileUtils-%1").arg(++count);
    const QDBusConnection bus = QDBusConnection::connectToPeer(address, name);
    if (!bus.isConnected()) {
        QDBusConnection::disconnectFromPeer(name);
        openFolder(folder);
        return;
    }
    const QDBusPendingCall greeted = bus.asyncCall(greeting(), greetingMsecs);
    const QDBusPendingCall shown = bus.asyncCall(showItems(item));
    const auto await = [=] { new Answers(name, folder, greeted, shown, answersOwner()); };
    if (application->thread() == QThread::currentThread())
        await();
    else
        QMetaObject::invokeMethod(application, await, Qt::QueuedConnection);
}

} // namespace kel
