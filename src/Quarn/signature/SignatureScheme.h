#ifndef QUARN_SIGNATURE_SIGNATURESCHEME_H
#define QUARN_SIGNATURE_SIGNATURESCHEME_H

namespace kel {

/**
 * \brief How a signature is made: the kind of key, its padding and the digest.
 *
 * SHA-1 isn't among them; SignatureDigest checks that.
 *
 * \par Threads
 * A value.
 */
enum class SignatureScheme {
    RsaPkcs1Sha256,
    RsaPkcs1Sha384,
    RsaPkcs1Sha512,
    RsaPssSha256, ///< salt as long as the digest, as TLS and code-signing tools make it
    RsaPssSha384,
    RsaPssSha512,
    EcdsaSha256,
    EcdsaSha384,
    EcdsaSha512,
    Ed25519, ///< over the data itself, which has to fit into memory
};

} // namespace kel
#endif
