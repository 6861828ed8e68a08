#include "Verifier.h"

#include "Options.h"

#include <Quarn/interfaces/IRandomAccessIO.h>
#include <Quarn/signature/SignatureException.h>

#include <QFile>

namespace {

constexpr qint64 portion = 64 * 1024;
constexpr int largestFile = 1024 * 1024;

/** All of the small file at \a path, a \a kind of file that must not be empty. */
QByteArray contents(const QString& kind, const QString& path)
{
    const auto fail = [&](const QString& reason) {
        throw kel::IOException(QStringLiteral("cannot read the %1 %2: %3").arg(kind, path, reason));
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(file.errorString());
    const QByteArray bytes = file.read(largestFile + 1);
    if (file.error() != QFileDevice::NoError)
        fail(file.errorString());
    if (bytes.isEmpty())
        fail(QStringLiteral("The file is empty"));
    if (bytes.size() > largestFile)
        fail(QStringLiteral("The file is too large for that"));
    return bytes;
}

} // namespace

Verifier::Verifier(const Options& options, const Channel& channel, const StopSwitch& stop)
    : Consumer(QStringLiteral("verifier"), channel, stop), m_valid(false)
{
    const QByteArray key = contents(QStringLiteral("key"), options.keyFile);
    try {
        m_digest.setPublicKey(key.constData(), int(key.size()));
    } catch (const kel::SignatureException& exception) {
        throw kel::IOException(
            QStringLiteral("cannot use the key %1: %2").arg(options.keyFile, exception.message()));
    }
    m_digest.setSignature(contents(QStringLiteral("signature"), options.signatureFile));
}

Verifier::~Verifier() = default;

bool Verifier::valid() const
{
    return m_valid;
}

QString Verifier::result() const
{
    return m_valid ? QStringLiteral("signature valid") : QStringLiteral("signature does not match");
}

void Verifier::consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader)
{
    qint64 count = portion;
    while (!stopped() && count == portion) {
        count = m_digest.digest(reader, portion);
        addBytes(count);
    }
    if (!deliveredAll(*reader))
        return;
    try {
        m_valid = m_digest.verify();
    } catch (const kel::SignatureException&) {
        // A signature that this kind of key cannot even decode was not made by it.
        m_valid = false;
    }
}
