#ifndef QUARN_SIGNATURE_PEMTEXT_P_H
#define QUARN_SIGNATURE_PEMTEXT_P_H

#include <QList>

#include <memory>

typedef struct evp_pkey_st EVP_PKEY;
typedef struct x509_st X509;

namespace kel {

// Of the PEM text at \a pem, of \a length bytes or with a negative one up to a zero. Both throw
// std::bad_alloc when there is too little memory to tell what the text holds.

/** The key of the first block PUBLIC KEY that holds a usable one; null when none does. */
std::shared_ptr<EVP_PKEY> publicKeyIn(const char* pem, int length);

/** The certificates, up to the first damaged block. */
QList<std::shared_ptr<X509>> certificatesIn(const char* pem, int length);

} // namespace kel
#endif
