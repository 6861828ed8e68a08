// Prints a file when it was signed by a publisher who has a certificate for signing code from one's
// own authority, and one of the keys that were pinned: neither a certificate for somebody else nor a
// stolen key of the authority is enough.

#include <Quarn/signature/CertificateVerifier.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureVerifier.h>

#include <QCoreApplication>
#include <QFile>
#include <QStringList>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr qint64 largestFile = 64 << 20;

QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw kel::IOException(QStringLiteral("Could not read ") + path);
    return file.readAll();
}

//! [pin]
kel::PublicKey trustedKey(const QByteArray& roots, const QByteArray& chain,
                          const QList<QByteArray>& pins)
{
    kel::CertificateVerifier authority(roots);
    authority.setPinnedKeys(pins);
    return authority.verify(chain);
}
//! [pin]

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 6) {
        std::fprintf(stderr, "Usage: pin-publisher ROOTS CERTIFICATES FILE SIGNATURE PIN...\n"
                             "Each PIN is the SHA-256 of a public key in DER, in hexadecimal:\n"
                             "    openssl pkey -pubin -in KEY -outform DER | sha256sum\n");
        return EXIT_FAILURE;
    }
    try {
        QList<QByteArray> pins;
        for (const QString& pin : arguments.mid(5))
            pins.append(QByteArray::fromHex(pin.toLatin1()));
        const kel::SignatureVerifier verifier(
            trustedKey(contentsOf(arguments.at(1)), contentsOf(arguments.at(2)), pins),
            kel::SignatureScheme::EcdsaSha256);
        // Read once: what was checked is what is printed.
        const QByteArray contents
            = verifier.verifiedContents(arguments.at(3), arguments.at(4), largestFile);
        if (contents.isNull()) {
            std::fprintf(stderr, "The signature doesn't match.\n");
            return EXIT_FAILURE;
        }
        const auto size = std::size_t(contents.size());
        const bool printed = std::fwrite(contents.constData(), 1, size, stdout) == size;
        return printed && std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const kel::IOException& exception) { // SignatureException is one, too
        std::fprintf(stderr, "%s\n", qPrintable(exception.message()));
        return EXIT_FAILURE;
    }
}
