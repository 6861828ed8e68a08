// Receives a file over the network, verifies it while it arrives and keeps it only when it is genuine.
// For a demonstration the program is both ends: it sends FILE over the loopback to itself, signed by
// a key made for the occasion, and with "damaged" behind the names changes a byte on the way.
//     receive-download FILE TARGET [damaged]

#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureSigner.h>
#include <Quarn/streams/DeviceStream.h>
#include <Quarn/streams/SafeFile.h>

#include <QCoreApplication>
#include <QFile>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdio>
#include <future>

namespace {

/** The far end; in a thread of its own. */
void send(QByteArray contents, std::promise<quint16> port)
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    port.set_value(server.serverPort());
    if (!server.waitForNewConnection(10'000))
        return;
    const std::unique_ptr<QTcpSocket> socket(server.nextPendingConnection());
    kel::DeviceStream stream(socket.get());
    stream.writeBlock(contents.constData(), int(contents.size()));
    stream.finishIO();
}

//! [receive]
/** Why nothing was saved as \a path, which is then as it was; empty when it was saved. */
QString receive(QTcpSocket& socket, kel::SignatureDigest& digest, const QString& path)
{
    kel::DeviceStream stream(&socket);
    kel::SafeFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    char data[65536];
    for (int count; (count = stream.read(data, sizeof data)) > 0;) { // 0 is the end
        digest.digest(data, count);
        file.writeBlock(data, count);
        std::fprintf(stderr, "\r%lld bytes", qlonglong(stream.position()));
    }
    if (stream.ioFailureDetected()) // it broke off
        return socket.errorString();
    if (!digest.verify())
        return QStringLiteral("NOT genuine: it is not kept");
    return file.commit() ? QString() : file.errorString(); // tells of each write that failed, too
}
//! [receive]

} // namespace

int main(int argc, char** argv)
try {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QFile source(arguments.value(1));
    if (arguments.size() < 3 || !source.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "Usage: receive-download FILE TARGET [damaged]\n");
        return 2;
    }
    QByteArray contents = source.readAll();
    const auto signer = kel::SignatureSigner::generate(kel::SignatureScheme::RsaPkcs1Sha256);
    const QByteArray pem = signer.publicKey().toPem();
    kel::SignatureDigest digest(QCryptographicHash::Sha256);
    digest.setPublicKey(pem.constData(), int(pem.size()));
    digest.setSignature(signer.sign(contents));
    if (arguments.size() > 3 && !contents.isEmpty())
        contents[contents.size() / 2] = char(contents.at(contents.size() / 2) ^ 1);

    std::promise<quint16> port;
    auto listening = port.get_future();
    const auto sender = std::async(std::launch::async, send, contents, std::move(port));
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, listening.get());
    const QString failure = socket.waitForConnected() ? receive(socket, digest, arguments.at(2))
                                                      : socket.errorString();
    socket.abort(); // so that a sender doesn't wait for one who has gone
    std::fprintf(stderr, "\n%s\n", failure.isEmpty() ? "genuine, kept" : qPrintable(failure));
    return failure.isEmpty() ? 0 : 1;
} catch (const kel::IOException& exception) { // SignatureException is one, too
    std::fprintf(stderr, "\n%s\n", qPrintable(exception.message()));
    return 1;
}
