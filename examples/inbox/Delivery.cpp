#include "Delivery.h"

#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureVerifier.h>
#include <Quarn/streams/DeviceStream.h>
#include <Quarn/streams/SafeFile.h>

#include <QTcpSocket>

namespace {

using Spool = boost::shared_ptr<kel::MultiUserSpool>;

//! [receive]
/** Passes on what comes; in a thread of its own, since a spool waits for the disk at times. */
class Receiver : public QObject
{
public:
    Receiver(Spool spool, qint64 size)
        : m_spool(std::move(spool)), m_size(size), m_socket(this), m_stream(&m_socket)
    {
        m_stream.enableNonBlockingMode(true);
        connect(&m_socket, &QIODevice::readyRead, this, &Receiver::receive);
        connect(&m_socket, &QAbstractSocket::disconnected, this, &Receiver::receive);
        connect(&m_socket, &QAbstractSocket::errorOccurred, this, &Receiver::receive);
    }

    void connectTo(const QString& host, quint16 port) { m_socket.connectToHost(host, port); }

private:
    void receive()
    {
        char data[65536];
        for (int count; (count = m_stream.read(data, sizeof data)) > 0;) {
            if (m_spool->streamSize() + count > m_size)
                m_spool->setErrorString(QStringLiteral("More came than was announced"));
            if (!m_spool->writeBlock(data, count)) // so, or cancelled, or the disk is full
                return m_socket.abort();
        }
        if (m_stream.ioFailureDetected())
            m_spool->setErrorString(m_socket.errorString());
        else if (m_stream.eofEncountered())
            m_spool->finishIO(); // the readers' end
    }

    const Spool m_spool;
    const qint64 m_size;
    QTcpSocket m_socket;
    kel::DeviceStream m_stream;
};
//! [receive]

/** Why nothing was saved as \a path, which is then as it was; empty when it was saved. */
QString store(const Spool& spool, const QString& path)
{
    kel::MultiUserSpoolReader reader(spool.get(), true); // from the first byte, whenever it is made
    kel::SafeFile file(path);
    bool written = file.open(QIODevice::WriteOnly);
    for (kel::MultiUserSpoolView view; written && !(view = reader.readView()).isEmpty();)
        written = file.writeBlock(view.data(), int(view.size()));
    if (reader.ioFailureDetected())
        return reader.errorString();
    return written && file.commit() ? QString() : file.errorString();
}

} // namespace

Delivery::Delivery(const Announcement& announcement, const kel::PublicKey& key)
    : m_announcement(announcement), m_key(key), m_spool(new kel::MultiUserSpool)
{
    qRegisterMetaType<Delivery::Verdict>("Delivery::Verdict");
}

Delivery::~Delivery()
{
    cancel();
    m_network.quit();
    m_network.wait();
    m_background.waitForDone();
}

const Announcement& Delivery::announcement() const
{
    return m_announcement;
}

std::unique_ptr<kel::MultiUserSpoolReader> Delivery::createReader() const
{
    return std::make_unique<kel::MultiUserSpoolReader>(m_spool.get(), false);
}

void Delivery::start(const QString& host, quint16 port)
{
    auto* const receiver = new Receiver(m_spool, m_announcement.size);
    receiver->moveToThread(&m_network);
    connect(&m_network, &QThread::started, receiver, [=] { receiver->connectTo(host, port); });
    connect(&m_network, &QThread::finished, receiver, &QObject::deleteLater);
    m_network.start();
    m_background.start([this] { verify(); });
}

//! [verify]
void Delivery::verify()
{
    const boost::shared_ptr<kel::MultiUserSpoolReader> reader(
        new kel::MultiUserSpoolReader(m_spool.get(), true));
    try {
        const kel::SignatureVerifier verifier(m_key, kel::SignatureScheme::EcdsaSha256);
        const bool genuine = verifier.verify(reader, m_announcement.signature); // waits for the end
        Q_EMIT verified(genuine ? Verdict::Genuine : Verdict::Damaged, QString());
    } catch (const kel::IOException& exception) { // SignatureException is one, too
        Q_EMIT verified(Verdict::Incomplete,
                        reader->ioFailureDetected() ? reader->errorString() : exception.message());
    }
}
//! [verify]

void Delivery::cancel()
{
    m_spool->cancel(); // does nothing once all has come
    m_network.quit();
}

void Delivery::save(const QString& path)
{
    m_background.start([this, path] { Q_EMIT saved(path, store(m_spool, path)); });
}
