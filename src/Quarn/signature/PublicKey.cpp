#include <Quarn/signature/PublicKey.h>

#include <Quarn/signature/PemBlocks_p.h>
#include <Quarn/signature/StrictFile_p.h>
#include <Quarn/signature/Wiped_p.h>
#include <Quarn/signature/certificates_p.h>
#include <Quarn/signature/openSsl_p.h>

#include <QCryptographicHash>

#include <openssl/pem.h>

#include <utility>

namespace kel {
namespace {

constexpr qint64 largestFile = 1 << 20;

/** The key of the block; null when it is damaged. */
Key keyIn(const PemBlocks& block)
{
    const QByteArray der = block.contents();
    const unsigned char* position = bytesOf(der);
    if (block.isCertificate()) {
        const Certificate certificate = certificateFrom(der);
        return Key(certificate ? X509_get_pubkey(certificate.get()) : nullptr);
    }
    Key key(d2i_PUBKEY(nullptr, &position, long(der.size())));
    return position == bytesOf(der) + der.size() ? std::move(key) : nullptr;
}

/** Without memory OpenSSL makes keys that tell of no size, and would never fit any scheme. */
Key usable(Key key)
{
    if (!key || EVP_PKEY_get_bits(key.get()) <= 0)
        fail("Invalid public key");
    return key;
}

/** The SubjectPublicKeyInfo in DER. */
QByteArray encoded(EVP_PKEY* key)
{
    const ErrorMark mark;
    unsigned char* bytes = nullptr;
    const int size = i2d_PUBKEY(key, &bytes);
    const std::unique_ptr<unsigned char, OpenSslDeleter> owner(bytes);
    require(size > 0);
    return QByteArray(reinterpret_cast<const char*>(bytes), size);
}

} // namespace

PublicKey::PublicKey(std::shared_ptr<EVP_PKEY> key) : m_key(std::move(key)) { }

PublicKey PublicKey::fromPem(const QByteArray& pem)
{
    const ErrorMark mark;
    const auto fits = [](const PemBlocks& block) {
        return block.label() == "PUBLIC KEY" || block.isCertificate();
    };
    return PublicKey(usable(fromFirstBlock(pem, fits, keyIn)));
}

PublicKey PublicKey::fromPemFile(const QString& path)
{
    QByteArray pem = StrictFile(path).readAll(largestFile);
    const Wiped wiped(pem); // there may be a private key, too
    return fromPem(pem);
}

PublicKey PublicKey::fromCertificate(X509* certificate)
{
    const ErrorMark mark;
    return PublicKey(usable(Key(certificate ? X509_get_pubkey(certificate) : nullptr)));
}

PublicKey PublicKey::fromHandle(EVP_PKEY* key)
{
    const ErrorMark mark;
    if (!key)
        return PublicKey();
    require(EVP_PKEY_up_ref(key));
    return PublicKey(Key(key));
}

bool PublicKey::isNull() const
{
    return !m_key;
}

int PublicKey::securityBits() const
{
    const ErrorMark mark;
    return m_key ? std::max(EVP_PKEY_get_security_bits(m_key.get()), 0) : 0;
}

QByteArray PublicKey::fingerprint() const
{
    return m_key ? QCryptographicHash::hash(encoded(m_key.get()), QCryptographicHash::Sha256)
                 : QByteArray();
}

QByteArray PublicKey::toPem() const
{
    if (!m_key)
        return QByteArray();
    const QByteArray text = encoded(m_key.get()).toBase64();
    QByteArray pem = "-----BEGIN PUBLIC KEY-----\n";
    for (int at = 0; at < text.size(); at += 64)
        pem += text.mid(at, 64) + '\n';
    return pem + "-----END PUBLIC KEY-----\n";
}

EVP_PKEY* PublicKey::handle() const
{
    return m_key.get();
}

} // namespace kel
