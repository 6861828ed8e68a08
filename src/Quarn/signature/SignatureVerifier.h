#ifndef QUARN_SIGNATURE_SIGNATUREVERIFIER_H
#define QUARN_SIGNATURE_SIGNATUREVERIFIER_H

#include <Quarn/companion/TransferProgress.h>
#include <Quarn/quarn_export.h>
#include <Quarn/signature/PublicKey.h>
#include <Quarn/signature/SignatureScheme.h>

#include <boost/shared_ptr.hpp>

class QIODevice;
class QString;

namespace kel {
class IIOInterface;
struct DataSource;

/**
 * \brief Checks detached signatures strictly: every byte counts, and what can't be read is an error.
 *
 *     const kel::SignatureVerifier verifier(kel::PublicKey::fromPemFile(keyPath),
 *                                           kel::SignatureScheme::RsaPssSha256);
 *     if (!verifier.verifyFile(updatePath, signaturePath))
 *         return refuse();
 *
 * | Result               | Meaning                                                             |
 * |----------------------|---------------------------------------------------------------------|
 * | true                 | the signature fits the key and all of the data                      |
 * | false                | it doesn't; empty, cut, garbled and overlong signatures included    |
 * | IOException          | "Could not read <path>": missing, no regular file, a read error, or |
 * |                      | a file whose size changed meanwhile; "Could not read data"          |
 * | SignatureException   | the check could not be made: "Too much data for this scheme", for   |
 * |                      | Ed25519; "Cancelled" by the progress; "OpenSsl error"               |
 *
 * Counts have 64 bits. OpenSSL's error queue is left as it was found.
 *
 * \par Blocking
 * Calls return when the data is read and checked. Beyond the first 2 MiB, reading and digesting
 * overlap where there is more than one processor, with a thread of their own during the call.
 *
 * \par Threads
 * Nothing changes after construction: several threads may use one verifier. Devices and streams are
 * read in the thread of the call.
 */
class QUARN_EXPORT SignatureVerifier
{
public:
    /** Most data from a device, a stream or a file for Ed25519, which needs all of it in memory. */
    static constexpr qint64 maxUndigestedSize = qint64(256) << 20;

    /**
     * \throw SignatureException "Public key expected" for no key, "Key does not fit the scheme", or
     *        "Key too weak" below \a minimumSecurityBits
     */
    SignatureVerifier(const PublicKey& key, SignatureScheme scheme, int minimumSecurityBits = 112);

    /** Over \a data, of any size. */
    [[nodiscard]] bool verify(const QByteArray& data, const QByteArray& signature) const;

    /**
     * Over everything from the position of \a device to its end.
     *
     * A sequential device ends when it has nothing more within 30 seconds and tells of no error: a
     * process ends so, while a socket that its peer has closed counts as failed.
     *
     * \throw IOException "Could not read data" when a read fails or yields nothing before the end
     */
    [[nodiscard]] bool verify(QIODevice* device, const QByteArray& signature,
                              const TransferProgress& progress = {}) const;

    /** The same for a stream, which has to be a blocking one where its data is still to come. */
    [[nodiscard]] bool verify(const boost::shared_ptr<IIOInterface>& stream,
                              const QByteArray& signature,
                              const TransferProgress& progress = {}) const;

    /**
     * Over a regular file. What is opened later under this path may be another one: take
     * verifiedContents() where others may write there.
     */
    [[nodiscard]] bool verifyFile(const QString& dataPath, const QString& signaturePath,
                                  const TransferProgress& progress = {}) const;

    /**
     * The contents of a file whose signature fits: read once, so that what was checked is what is
     * used. Null when the signature doesn't fit; those of an empty file are empty, but not null.
     *
     * \throw IOException "Could not read <path>", also for more than \a maxSize bytes or 2 GiB
     */
    [[nodiscard]] QByteArray verifiedContents(const QString& dataPath, const QString& signaturePath,
                                              qint64 maxSize) const;

private:
    bool verifyAll(const DataSource& source, const QByteArray& signature,
                   const TransferProgress& progress) const;

    PublicKey m_key;
    SignatureScheme m_scheme;
};

} // namespace kel
#endif
