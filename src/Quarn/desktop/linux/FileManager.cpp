#include <Quarn/desktop/desktopLibrary_p.h>

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

/**
 * Waits for the bus to answer the greeting, then asks the file manager and waits for its answer, and
 * opens the folder on a failure. One call at a time: QtDBus frees those that are still on their way
 * when a connection closes, although they are in use.
 */
class Answers : public QObject
{
public:
    Answers(const QString& connection, const QString& item, const QDBusPendingCall& greeted,
            QObject* owner)
        : QObject(owner), m_connection(connection), m_item(item)
    {
        await(greeted, [this] {
            await(QDBusConnection(m_connection).asyncCall(showItems(m_item)),
                  [this] { finish(true); });
        });
    }

private:
    template <typename Next>
    void await(const QDBusPendingCall& call, Next next)
    {
        auto* const watcher = new QDBusPendingCallWatcher(call, this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, next] {
            if (watcher->isError())
                finish(false);
            else
                next();
        });
    }

    void finish(bool shown)
    {
        QDBusConnection::disconnectFromPeer(m_connection);
        if (!shown)
            openFolder(QFileInfo(m_item).absolutePath());
        deleteLater();
    }

    const QString m_connection;
    const QString m_item;
};

/** What still waits when the process ends or the library is unloaded goes with this. */
QObject* answersOwner()
{
    static QObject owner;
    return &owner;
}

} // namespace
} // namespace kel

using namespace kel;

/*
 * QDBusConnection::sessionBus() waits for the bus, and may start one. A peer connection is only
 * opened; all that follows is up to QtDBus's own thread, which the process can end at any time. So
 * the bus is connected to as a peer, and given the greeting that makes this a connection to a bus
 * as an ordinary call. Opening is a connect() to a local socket: it returns at once unless the bus
 * hangs and as many programs as its queue holds already wait for it.
 */
void quarnShowInFileManager1(const QString& item)
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
    const auto await = [=] { new Answers(name, item, greeted, answersOwner()); };
    if (application->thread() == QThread::currentThread())
        await();
    else
        QMetaObject::invokeMethod(application, await, Qt::QueuedConnection);
}
