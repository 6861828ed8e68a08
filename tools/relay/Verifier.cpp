#include "Verifier.h"

#include "Options.h"
#include "Schemes.h"
#include "Trust.h"
#include "smallFiles.h"

#include <Quarn/interfaces/IRandomAccessIO.h>

namespace {

constexpr qint64 portion = 64 * 1024;

} // namespace

Verifier::Verifier(const Options& options, const Channel& channel, const StopSwitch& stop)
    : Consumer(QStringLiteral("verifier"), channel, stop),
      m_signature(contentsOf(QStringLiteral("signature"), options.signatureFile)), m_valid(false)
{
    try {
        chooseScheme(options);
    } catch (const kel::SignatureException& exception) {
        throw kel::IOException(QStringLiteral("cannot use the key %1: %2")
                                   .arg(options.keyFile + options.certificateFile, // one of them
                                        exception.message()));
    }
}

Verifier::~Verifier() = default;

/** A key that is too weak for all others, or of a kind that they don't know, is one for SHA-1. */
void Verifier::chooseScheme(const Options& options)
{
    const kel::PublicKey key = trustedKey(options);
    m_scheme = options.scheme;
    if (m_scheme != Schemes::sha1()) {
        try {
            m_verifier = Schemes::make(m_scheme, [&](kel::SignatureScheme scheme) {
                const kel::SignatureVerifier verifier(key, scheme);
                m_scheme = Schemes::names().at(int(scheme));
                return verifier;
            });
            return;
        } catch (const kel::SignatureException&) {
            if (!options.scheme.isEmpty() || !options.certificateFile.isEmpty())
                throw;
        }
    }
    m_scheme = Schemes::sha1();
    const QByteArray pem = key.toPem();
    m_digest.setPublicKey(pem.constData(), int(pem.size()));
    m_digest.setSignature(m_signature);
}

QString Verifier::scheme() const
{
    return m_scheme;
}

bool Verifier::valid() const
{
    return m_valid;
}

QString Verifier::result() const
{
    return m_valid ? QStringLiteral("signature valid") : QStringLiteral("signature does not match");
}

void Verifier::consume(const Reader& reader)
{
    m_valid = m_verifier ? matches(reader) : matchesSha1(reader);
}

bool Verifier::matches(const Reader& reader)
{
    return workOnAll(*reader, [&](const kel::TransferProgress& progress) {
        return m_verifier->verify(reader, m_signature, progress);
    });
}

bool Verifier::matchesSha1(const Reader& reader)
{
    qint64 count = portion;
    while (!stopped() && count == portion) {
        count = m_digest.digest(reader, portion);
        addBytes(count);
    }
    try {
        return deliveredAll(*reader) && m_digest.verify();
    } catch (const kel::SignatureException&) {
        return false; // what this kind of key cannot even decode was not made by it
    }
}
