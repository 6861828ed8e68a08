#include <Quarn/desktop/linux/SessionBus_p.h>

#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kel {
namespace {

constexpr int limitMsecs = 5000;
constexpr int fullQueueMsecs = 50; // the kernel doesn't tell when there is room again

/** The socket of "unix:path=NAME,guid=..." or "unix:abstract=NAME"; 0 as its length for others. */
std::pair<sockaddr_un, socklen_t> socketAddress(const QString& address)
{
    sockaddr_un socket = {};
    socket.sun_family = AF_UNIX;
    const QString prefix = QStringLiteral("unix:");
    if (!address.startsWith(prefix))
        return {socket, 0};
    const QStringList pairs = address.mid(prefix.size()).split(QLatin1Char(','));
    for (const QString& pair : pairs) {
        const bool abstract = pair.startsWith(QLatin1String("abstract="));
        if (!abstract && !pair.startsWith(QLatin1String("path=")))
            continue;
        const QByteArray value = pair.section(QLatin1Char('='), 1).toLatin1();
        const QByteArray name = (abstract ? QByteArray(1, '\0') : QByteArray())
                                + QByteArray::fromPercentEncoding(value);
        if (name.size() < int(sizeof socket.sun_path)) {
            std::copy(name.begin(), name.end(), socket.sun_path);
            return {socket, socklen_t(offsetof(sockaddr_un, sun_path) + std::size_t(name.size())
                                      + (abstract ? 0 : 1))};
        }
    }
    return {socket, 0};
}

} // namespace

QStringList sessionBusAddresses()
{
    const QString given = QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    QStringList addresses = given.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (int i = int(addresses.size()) - 1; i >= 0; --i) {
        if (socketAddress(addresses.at(i)).second == 0)
            addresses.removeAt(i);
    }
    const QByteArray socket = qgetenv("XDG_RUNTIME_DIR") + "/bus";
    if (given.isEmpty() && QFileInfo::exists(QFile::decodeName(socket)))
        addresses << QStringLiteral("unix:path=")
                         + QLatin1String(socket.toPercentEncoding("/", "~"));
    return addresses;
}

BusCheck::BusCheck(const QString& address, QObject* parent, std::function<void(bool)> done)
    : QObject(parent), m_address(address), m_done(std::move(done)),
      m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
{
    QTimer::singleShot(0, this, [this] { connectToBus(); });
    QTimer::singleShot(limitMsecs, this, [this] { finish(false); });
}

BusCheck::~BusCheck()
{
    m_answer.reset();
    if (m_socket >= 0)
        ::close(m_socket);
}

void BusCheck::connectToBus()
{
    const auto [address, length] = socketAddress(m_address);
    if (!m_done)
        return;
    if (::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        if (errno == EAGAIN)
            QTimer::singleShot(fullQueueMsecs, this, [this] { connectToBus(); });
        else
            finish(false);
        return;
    }
    // The zero in front carries the credentials where the kernel needs one for that.
    const QByteArray question = QByteArray(1, '\0') + "AUTH\r\n";
    m_answer = std::make_unique<QSocketNotifier>(m_socket, QSocketNotifier::Read);
    connect(m_answer.get(), &QSocketNotifier::activated, this, [this] {
        char first = '\0';
        finish(::recv(m_socket, &first, 1, 0) == 1);
    });
    if (::send(m_socket, question.constData(), std::size_t(question.size()), MSG_NOSIGNAL) < 0)
        finish(false);
}

void BusCheck::finish(bool answers)
{
    const auto done = std::exchange(m_done, nullptr);
    if (!done)
        return;
    if (m_answer)
        m_answer->setEnabled(false);
    deleteLater();
    done(answers);
}

} // namespace kel
