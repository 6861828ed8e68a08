#ifndef QUARN_SIGNATURE_OPENSSL_P_H
#define QUARN_SIGNATURE_OPENSSL_P_H

#include <Quarn/signature/ErrorMark_p.h>
#include <Quarn/signature/SignatureException.h>

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>

namespace kel {

struct OpenSslDeleter
{
    void operator()(BIGNUM* number) const { BN_clear_free(number); }
    void operator()(BIO* bio) const { BIO_free_all(bio); }
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(unsigned char* bytes) const { OPENSSL_free(bytes); }
};

using BigNumber = std::unique_ptr<BIGNUM, OpenSslDeleter>;
using Bio = std::unique_ptr<BIO, OpenSslDeleter>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, OpenSslDeleter>;
using Certificate = std::unique_ptr<X509, OpenSslDeleter>;
using Key = std::unique_ptr<EVP_PKEY, OpenSslDeleter>;

[[noreturn]] inline void fail(const char* message)
{
    throw SignatureException(QString::fromLatin1(message));
}

/** For calls that don't fail but for lack of memory. */
inline void require(bool success)
{
    if (!success)
        fail("OpenSsl error");
}

inline const unsigned char* bytesOf(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

} // namespace kel
#endif
