#include <Quarn/desktop/desktopLibrary_p.h>
#include <Quarn/desktop/linux/SessionBus_p.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QQueue>
#include <QTimer>
#include <QUrl>

#include <fcntl.h>

namespace kel {
namespace {

constexpr int greetingMsecs = 5000;
constexpr int portalMsecs = 25000;
constexpr int usualMsecs = -1; // QtDBus's own limit

bool isSandboxed()
{
    return QFile::exists(QStringLiteral("/.flatpak-info")) || qEnvironmentVariableIsSet("SNAP");
}

/** Starts xdg-open for the folder of \a item. What it prints is nobody's business. */
void openFolder(const QString& item)
{
    QProcess process;
    process.setProgram(QStringLiteral("xdg-open"));
    process.setArguments({QFileInfo(item).absolutePath()});
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.startDetached();
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

QDBusMessage openDirectory(const QString& item)
{
    QDBusUnixFileDescriptor descriptor;
    descriptor.giveFileDescriptor(
        ::open(QFile::encodeName(item).constData(), O_PATH | O_CLOEXEC)); // opens pipes too
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"),
        QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.OpenURI"), QStringLiteral("OpenDirectory"));
    message << QString() << QVariant::fromValue(descriptor) << QVariantMap();
    return message;
}

/**
 * Shows items one after the other. It lives in the application's thread and goes with the
 * application.
 *
 * QDBusConnection::sessionBus() waits for the bus, and may start one. A peer connection is only
 * opened; so the bus, once a BusCheck found that it answers, is connected to as a peer, and given
 * the greeting that makes this a connection to a bus as an ordinary call. It is kept until there is
 * nothing more to show. One call at a time: that keeps the order, and QtDBus frees those that are
 * still on their way when a connection closes, although they are in use.
 */
class ShownItems : public QObject
{
    Q_OBJECT

public:
    explicit ShownItems(QObject* parent) : QObject(parent)
    {
        m_portalLimit.setSingleShot(true);
        m_portalLimit.setInterval(portalMsecs);
        connect(&m_portalLimit, &QTimer::timeout, this, [this] { showNext(); });
    }

    void add(const QString& item)
    {
        m_items.enqueue(item);
        if (m_items.size() == 1)
            openBus(sessionBusAddresses());
    }

private Q_SLOTS:
    /** The portal's last word; above 1 when it failed. */
    void portalResponded(uint response)
    {
        if (!m_portalLimit.isActive())
            return;
        m_portalLimit.stop();
        response > 1 ? showByXdgOpen() : showNext();
    }

private:
    template <typename Next, typename Otherwise>
    void call(const QDBusMessage& message, int msecs, Next next, Otherwise otherwise)
    {
        const QDBusPendingCall pending = QDBusConnection(m_connection).asyncCall(message, msecs);
        auto* const watcher = new QDBusPendingCallWatcher(pending, this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [=] {
            watcher->deleteLater();
            if (!watcher->isError())
                return next();
            m_hangs = m_hangs || watcher->error().type() == QDBusError::NoReply;
            otherwise();
        });
    }

    void openBus(QStringList addresses)
    {
        if (addresses.isEmpty())
            return openFolders();
        const QString address = addresses.takeFirst();
        new BusCheck(address, this, [=](bool answers) {
            if (answers)
                greet(address);
            else
                openBus(addresses);
        });
    }

    void greet(const QString& address)
    {
        static int count = 0;
        m_connection = QStringLiteral("kel::FileUtils-%1").arg(++count);
        QDBusConnection bus = QDBusConnection::connectToPeer(address, m_connection);
        bus.connect(QString(), QString(), QStringLiteral("org.freedesktop.portal.Request"),
                    QStringLiteral("Response"), this, SLOT(portalResponded(uint)));
        call(
            greeting(), greetingMsecs, [this] { show(); }, [this] { openFolders(); });
    }

    /** Shows the first item. A file manager that hangs isn't asked again. */
    void show()
    {
        if (m_hangs)
            return showOtherwise();
        call(
            showItems(m_items.head()), usualMsecs, [this] { showNext(); },
            [this] { showOtherwise(); });
    }

    void showNext()
    {
        m_items.dequeue();
        if (m_items.isEmpty())
            close();
        else
            show();
    }

    void showOtherwise()
    {
        if (!isSandboxed())
            return showByXdgOpen();
        // The portal drops what it accepted when the connection closes before its last word.
        call(
            openDirectory(m_items.head()), usualMsecs, [this] { m_portalLimit.start(); },
            [this] { showByXdgOpen(); });
    }

    void showByXdgOpen()
    {
        openFolder(m_items.head());
        showNext();
    }

    void openFolders()
    {
        while (!m_items.isEmpty())
            openFolder(m_items.dequeue());
        close();
    }

    void close()
    {
        QDBusConnection::disconnectFromPeer(m_connection);
        m_hangs = false;
    }

    QQueue<QString> m_items; // the first is being shown
    QString m_connection;
    QTimer m_portalLimit;
    bool m_hangs = false;
};

ShownItems* shownItems()
{
    static QPointer<ShownItems> items;
    if (!items)
        items = new ShownItems(QCoreApplication::instance());
    return items;
}

} // namespace
} // namespace kel

void quarnShowInFileManager1(const QString& item)
{
    QCoreApplication* const application = QCoreApplication::instance();
    if (application && !kel::sessionBusAddresses().isEmpty())
        QMetaObject::invokeMethod(
            application, [item] { kel::shownItems()->add(item); }, Qt::QueuedConnection);
    else
        kel::openFolder(item);
}

#include "FileManager.moc"
