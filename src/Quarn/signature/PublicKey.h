#ifndef QUARN_SIGNATURE_PUBLICKEY_H
#define QUARN_SIGNATURE_PUBLICKEY_H

#include <Quarn/quarn_export.h>

#include <QByteArray>

#include <memory>

class QString;

typedef struct evp_pkey_st EVP_PKEY;
typedef struct x509_st X509;

namespace kel {

/**
 * \brief A public key; copies share it, and the last one frees it.
 *
 * Certificates only carry the key: neither their dates nor who issued them is checked. For that there
 * is CertificateVerifier.
 *
 * \par Threads
 * Nothing changes after construction: copies may be used in several threads.
 */
class QUARN_EXPORT PublicKey
{
public:
    /** No key. */
    PublicKey() = default;

    /**
     * The key of the first block PUBLIC KEY or CERTIFICATE in \a pem, whichever comes first. Blocks
     * of other kinds in front of it are skipped, a damaged block is an error. Nobody is ever asked
     * for a password.
     *
     * \throw SignatureException "Invalid public key", also when there is none
     */
    static PublicKey fromPem(const QByteArray& pem);

    /**
     * The same for a regular file of at most 1 MiB.
     *
     * \throw IOException "Could not read <path>"
     */
    static PublicKey fromPemFile(const QString& path);

    /** \throw SignatureException "Invalid public key", also for null */
    static PublicKey fromCertificate(X509* certificate);

    /** Takes a reference of its own: the caller may free \a key. Null gives no key. */
    static PublicKey fromHandle(EVP_PKEY* key);

    /** Whether there is no key. */
    bool isNull() const;

    /** As NIST SP 800-57 counts: 112 for RSA 2048, 128 for P-256 and Ed25519; 0 for no key. */
    int securityBits() const;

    /**
     * SHA-256 of the SubjectPublicKeyInfo in DER, 32 bytes: what is pinned. `openssl pkey -pubin
     * -outform DER | openssl dgst -sha256` shows the same. Empty for no key.
     */
    QByteArray fingerprint() const;

    /** A block PUBLIC KEY; empty for no key. */
    QByteArray toPem() const;

    /** Borrowed, for calls to OpenSSL; lives as long as a copy of this key. Null for no key. */
    EVP_PKEY* handle() const;

private:
    explicit PublicKey(std::shared_ptr<EVP_PKEY> key);

    std::shared_ptr<EVP_PKEY> m_key;
};

} // namespace kel
#endif
