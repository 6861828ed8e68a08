#ifndef QUARN_SIGNATURE_PRIVATEKEYS_P_H
#define QUARN_SIGNATURE_PRIVATEKEYS_P_H

#include <Quarn/signature/openSsl_p.h>

#include <openssl/pkcs12.h>

namespace kel {

// OpenSSL's own ways between PEM text and a private key leave copies of the key in memory that they
// give back without wiping it. These keep to those of its functions that wipe, for RSA, EC and
// Ed25519.

struct PrivateKeyInfoDeleter
{
    void operator()(PKCS8_PRIV_KEY_INFO* info) const { PKCS8_PRIV_KEY_INFO_free(info); }
    void operator()(X509_SIG* encrypted) const { X509_SIG_free(encrypted); }
};

using PrivateKeyInfo = std::unique_ptr<PKCS8_PRIV_KEY_INFO, PrivateKeyInfoDeleter>;
using EncryptedKeyInfo = std::unique_ptr<X509_SIG, PrivateKeyInfoDeleter>;

/** The key in a PKCS#8 structure; null when there is none of those kinds. */
Key keyFrom(const PKCS8_PRIV_KEY_INFO* info);
/** The key in an RSAPrivateKey structure in DER; null when there is none. */
Key rsaKeyFrom(const unsigned char* der, long size);
/** The key in an ECPrivateKey structure in DER, on \a curve if that is not null. */
Key ecKeyFrom(const unsigned char* der, long size, const char* curve);

/** \throw SignatureException "OpenSsl error", also for keys of another kind */
PrivateKeyInfo keyInfoOf(const EVP_PKEY* key);

/**
 * The first private key in \a pem: PKCS#8 or traditional, encrypted or not.
 *
 * \throw SignatureException "Invalid private key"
 */
Key privateKeyIn(const QByteArray& pem, const QByteArray& passphrase);

/** PKCS#8, encrypted with AES-256 and a key that scrypt makes of \a passphrase. */
QByteArray encryptedPem(const EVP_PKEY* key, const QByteArray& passphrase);

} // namespace kel
#endif
