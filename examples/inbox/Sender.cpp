#include "Sender.h"

#include <Quarn/signature/SignatureSigner.h>

#include <QTcpSocket>

namespace {

constexpr int pieces = 100;
constexpr int msecsBetween = 20;
constexpr int mostUnsent = 1 << 20;

} // namespace

Sender::Sender(const QString& name, const QByteArray& contents, bool damaged) : m_contents(contents)
{
    const auto signer = kel::SignatureSigner::generate(kel::SignatureScheme::EcdsaSha256);
    m_key = signer.publicKey();
    m_announcement = {name, contents.size(), signer.sign(contents)};
    if (damaged && !m_contents.isEmpty())
        m_contents[m_contents.size() / 2] = char(m_contents.at(m_contents.size() / 2) ^ 1);

    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        QTcpSocket* const socket = m_server.nextPendingConnection();
        m_server.close(); // to others
        connect(&m_pace, &QTimer::timeout, socket, [this, socket] { sendNext(socket); });
        m_pace.start(msecsBetween);
    });
    m_server.listen(QHostAddress::LocalHost);
    m_port = m_server.serverPort();
}

Announcement Sender::announcement() const
{
    return m_announcement;
}

kel::PublicKey Sender::key() const
{
    return m_key;
}

quint16 Sender::port() const
{
    return m_port;
}

void Sender::sendNext(QTcpSocket* socket)
{
    if (m_sent >= m_contents.size()) {
        m_pace.stop();
        socket->disconnectFromHost(); // once all of it is sent
    } else if (socket->bytesToWrite() < mostUnsent) {
        const QByteArray piece = m_contents.mid(m_sent, int(m_contents.size()) / pieces + 1);
        socket->write(piece);
        m_sent += int(piece.size());
    }
}
