#ifndef QUARN_BENCHMARKS_SIGNATURE_OPENSSL_H
#define QUARN_BENCHMARKS_SIGNATURE_OPENSSL_H

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <memory>

namespace bench {

struct OpenSslDeleter
{
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    void operator()(unsigned char* bytes) const { OPENSSL_free(bytes); }
};

using Bio = std::unique_ptr<BIO, OpenSslDeleter>;
using Key = std::unique_ptr<EVP_PKEY, OpenSslDeleter>;
using Context = std::unique_ptr<EVP_MD_CTX, OpenSslDeleter>;

} // namespace bench
#endif
