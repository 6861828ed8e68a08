#ifndef QUARN_SIGNATURE_SCHEMES_P_H
#define QUARN_SIGNATURE_SCHEMES_P_H

#include <Quarn/signature/SignatureScheme.h>
#include <Quarn/signature/openSsl_p.h>

namespace kel {

/** Whether signatures are over a digest, so that data may come in pieces. */
bool takesPieces(SignatureScheme scheme);

/**
 * Does nothing for a key that is of use for \a scheme and has \a minimumSecurityBits.
 *
 * \throw SignatureException "Public key expected", "Key does not fit the scheme" or "Key too weak"
 */
void requireUsable(EVP_PKEY* key, SignatureScheme scheme, int minimumSecurityBits);

/** \throw SignatureException "Key does not fit the scheme" */
DigestContext beginVerification(EVP_PKEY* key, SignatureScheme scheme);
/** \throw SignatureException "Key does not fit the scheme" */
DigestContext beginSignature(EVP_PKEY* key, SignatureScheme scheme);

/** A new key pair, as strong as the digest of \a scheme; RSA with 3072 bits. */
Key generateKey(SignatureScheme scheme);

} // namespace kel
#endif
