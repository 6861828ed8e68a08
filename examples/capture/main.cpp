// Captures what a program prints: shows how much comes, checks its signature and stores it, all at
// once, in little memory. The file is there only if all of it came and the signature is valid:
//     capture share.tar share.sig key.pem tar c /usr/share

#include <Quarn/companion/ExceptionQt.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>
#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/streams/SafeFile.h>

#include <QCoreApplication>
#include <QProcess>

#include <cstdio>
#include <future>

namespace {

using Spool = boost::shared_ptr<kel::MultiUserSpool>;

/** Sends all that \a program prints to the \a spool, which takes nothing more once it has failed. */
void connectProducer(const Spool& spool, QProcess& program)
{
    QObject::connect(&program, &QProcess::readyReadStandardOutput,
                     [&] { spool->write(program.readAllStandardOutput()); });
    QObject::connect(&program, &QProcess::errorOccurred,
                     [&] { spool->setErrorString(program.errorString()); });
    QObject::connect(&program, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
                     [&](int status) {
                         if (status != 0)
                             spool->setErrorString(QStringLiteral("Exit status %1").arg(status));
                         spool->finishIO();
                     });
}

bool verify(const Spool& spool, kel::SignatureDigest digest)
{
    const auto reader = kel::MultiUserSpool::createReaderInterface(spool, true);
    digest.digest(reader, -1);
    return !reader->ioFailureDetected() && digest.verify();
}

/** Why \a path is not there; empty when it is. */
QString store(const Spool& spool, const QString& path, std::future<bool> valid)
{
    kel::MultiUserSpoolReader reader(spool.get(), true); // from the first byte, whenever it is made
    kel::SafeFile file(path);
    bool written = file.open(QIODevice::WriteOnly);
    for (kel::MultiUserSpoolView view; written && !(view = reader.readView()).isEmpty();)
        written = file.writeBlock(view.data(), int(view.size()));
    if (!written)
        spool->cancel(); // nobody needs the rest
    else if (reader.ioFailureDetected())
        return reader.errorString();
    else if (!valid.get())
        return QStringLiteral("The signature does not match");
    return written && file.commit() ? QString() : file.errorString();
}

QString capture(const QStringList& arguments)
{
    kel::SignatureDigest digest;
    digest.setSignatureFile(arguments.at(2));
    digest.setPublicKeyFile(arguments.at(3));
    const Spool spool(new kel::MultiUserSpool);
    kel::MultiUserSpoolReader screen(spool.get(), false);
    QObject::connect(&screen, &QIODevice::readyRead, [&screen, lines = 0LL]() mutable {
        for (QByteArray bytes; !(bytes = screen.read(1 << 20)).isEmpty();)
            lines += bytes.count('\n');
        std::fprintf(stderr, "\r%lld bytes, %lld lines", qlonglong(screen.pos()), lines);
    });
    QObject::connect(&screen, &QIODevice::readChannelFinished, &QCoreApplication::quit);
    auto valid = std::async(std::launch::async, verify, spool, std::move(digest));
    auto stored = std::async(std::launch::async, store, spool, arguments.at(1), std::move(valid));
    QProcess program;
    connectProducer(spool, program);
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program.start(arguments.at(4), arguments.mid(5));
    QCoreApplication::exec();
    program.kill(); // where it still runs, nobody takes what it prints
    program.waitForFinished();
    return stored.get();
}

} // namespace

int main(int argc, char** argv)
try {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString usage
        = QStringLiteral("Usage: capture FILE SIGNATURE KEY PROGRAM [ARGUMENT ...]");
    const QString failure = arguments.size() < 5 ? usage : capture(arguments);
    std::fprintf(stderr, "\n%s\n", failure.isEmpty() ? "stored" : qPrintable(failure));
    return failure.isEmpty() ? 0 : 1;
} catch (const kel::ExceptionQt& exception) {
    std::fprintf(stderr, "\n%s\n", qPrintable(exception.message()));
    return 1;
}
