#include "Trust.h"

#include "Options.h"
#include "smallFiles.h"

#include <Quarn/signature/CertificateVerifier.h>
#include <Quarn/signature/SignatureException.h>

namespace {

kel::CertificateVerifier authority(const QString& rootsFile)
{
    const QByteArray roots = contentsOf(QStringLiteral("roots"), rootsFile);
    try {
        return kel::CertificateVerifier(roots);
    } catch (const kel::SignatureException& exception) {
        throw kel::IOException(
            QStringLiteral("cannot use the roots %1: %2").arg(rootsFile, exception.message()));
    }
}

} // namespace

kel::PublicKey trustedKey(const Options& options)
{
    const bool certified = !options.certificateFile.isEmpty();
    const QString kind = certified ? QStringLiteral("certificate") : QStringLiteral("key");
    const QString path = certified ? options.certificateFile : options.keyFile;
    const QByteArray pem = contentsOf(kind, path);
    try {
        if (!certified)
            return kel::PublicKey::fromPem(pem);
        kel::CertificateVerifier verifier = authority(options.rootsFile);
        verifier.setPinnedKeys(options.pins);
        return verifier.verify(pem);
    } catch (const kel::SignatureException& exception) {
        throw kel::IOException(
            QStringLiteral("cannot use the %1 %2: %3").arg(kind, path, exception.message()));
    }
}
