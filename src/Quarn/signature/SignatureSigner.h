#ifndef QUARN_SIGNATURE_SIGNATURESIGNER_H
#define QUARN_SIGNATURE_SIGNATURESIGNER_H

#include <Quarn/companion/TransferProgress.h>
#include <Quarn/quarn_export.h>
#include <Quarn/signature/PublicKey.h>
#include <Quarn/signature/SignatureScheme.h>

#include <boost/shared_ptr.hpp>

#include <memory>

class QIODevice;
class QString;

namespace kel {
class IIOInterface;
struct DataSource;

/**
 * \brief Makes the detached signatures that SignatureVerifier checks.
 *
 *     const auto signer = kel::SignatureSigner::fromPemFile(
 *         keyPath, std::move(passphrase), kel::SignatureScheme::Ed25519);
 *     signer.signFile(updatePath, signaturePath);
 *
 * \par Secrets
 * The private key stays inside; copies share it, and it is wiped with the last one. A passphrase is
 * wiped when a call ends, where the call is its only owner: hand it over with std::move(). Nobody is
 * ever asked for one.
 *
 * \par Failures
 * Those of SignatureVerifier: IOException for what can't be read, SignatureException for the rest,
 * "OpenSsl error" included. OpenSSL's error queue is left as it was found.
 *
 * \par Threads
 * Nothing changes after construction: several threads may use one signer. Devices and streams are
 * read in the thread of the call.
 */
class QUARN_EXPORT SignatureSigner
{
public:
    /**
     * Takes the first private key in \a pem, encrypted or not, PKCS#8 or traditional. Further
     * public keys and certificates in the text don't matter.
     *
     * \throw SignatureException "Invalid private key", also for a wrong passphrase, one that would
     *        take minutes to try, and kinds of key that no scheme uses; "Key does not fit the
     *        scheme"; "Key too weak" below 112 bits
     */
    static SignatureSigner fromPem(const QByteArray& pem, QByteArray passphrase,
                                   SignatureScheme scheme);

    /**
     * The same for a regular file of at most 1 MiB, of which no copy remains in memory.
     *
     * \throw IOException "Could not read <path>"
     */
    static SignatureSigner fromPemFile(const QString& path, QByteArray passphrase,
                                       SignatureScheme scheme);

    /** A new key: RSA 3072, P-256, P-384, P-521 or Ed25519, as \a scheme wants it. */
    static SignatureSigner generate(SignatureScheme scheme);

    /** Without its private half. */
    PublicKey publicKey() const;

    /**
     * The private key as PKCS#8, encrypted with AES-256 and scrypt.
     *
     * \throw SignatureException "Passphrase expected" for an empty one
     */
    [[nodiscard]] QByteArray toPem(QByteArray passphrase) const;

    /** The signature of \a data. */
    [[nodiscard]] QByteArray sign(const QByteArray& data) const;

    /** Over everything from the position of \a device on, as SignatureVerifier::verify() reads it. */
    [[nodiscard]] QByteArray sign(QIODevice* device, const TransferProgress& progress = {}) const;
    /** \copydoc sign(QIODevice*, const TransferProgress&) const */
    [[nodiscard]] QByteArray sign(const boost::shared_ptr<IIOInterface>& stream,
                                  const TransferProgress& progress = {}) const;

    /**
     * Writes the signature of \a dataPath to \a signaturePath, where it appears whole or not at all:
     * after a failure the file that was there before is still there.
     *
     * \throw IOException "Could not read <path>" or "Could not write <path>", also when the paths
     *        lead to the same file and where something else than a file is in the way
     */
    void signFile(const QString& dataPath, const QString& signaturePath,
                  const TransferProgress& progress = {}) const;

private:
    SignatureSigner(std::shared_ptr<EVP_PKEY> key, SignatureScheme scheme);
    QByteArray signAll(const DataSource& source, const TransferProgress& progress) const;

    std::shared_ptr<EVP_PKEY> m_key; // with its private half
    PublicKey m_publicKey;
    SignatureScheme m_scheme;
};

} // namespace kel
#endif
