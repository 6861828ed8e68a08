#ifndef QUARN_SIGNATURE_SIGNATUREDIGEST_H
#define QUARN_SIGNATURE_SIGNATUREDIGEST_H

#include <Quarn/quarn_export.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <QList>

#include <boost/shared_ptr.hpp>

#include <memory>

class QIODevice;
class QString;

typedef struct evp_md_ctx_st EVP_MD_CTX;
typedef struct evp_md_st EVP_MD;
typedef struct evp_pkey_st EVP_PKEY;
typedef struct x509_st X509;

namespace kel {
class IIOInterface;

/**
 * \brief Checks detached signatures over SHA-1 or other digests, with RSA, DSA or EC keys.
 *
 * SHA-1 no longer keeps anybody from making two files with one signature. For new formats take
 * SignatureVerifier, which is also strict about what can't be read.
 *
 * Set the key once; then, for each check, set the signature, feed the data with any mix of the
 * digest() calls and ask verify():
 *
 *     kel::SignatureDigest digest;
 *     digest.setPublicKeyFile(QStringLiteral("publisher.pem"));
 *     digest.setSignatureFile(QStringLiteral("update.sig"));
 *     digest.digest(reader, -1);
 *     const bool genuine = digest.verify();
 *     digest.reset(); // ready for the next signature and its data
 *
 * Certificates only carry the key: neither their dates nor who issued them is checked.
 *
 * \par Large files
 * **Calls that count in int take at most 2,147,483,647 bytes, also where the length is negative.
 * Of a file of 2 GiB or more, digestFile() and verify1File() digest only the first 2,147,483,647
 * bytes: what follows is covered by no signature that they check, and may have been changed by
 * anybody.** Digest such a file as a stream, whose counts have 64 bits, or call
 * digest(QIODevice*, int) again until it returns 0.
 *
 * \par Missing data
 * **A data file that cannot be opened counts as empty:** digestFile() answers 0, and verify1File()
 * accepts it together with a valid signature of no data. **A read error ends the data without notice:
 * a signature of the beginning then fits.** Streams tell about it by
 * IIOInterface::ioFailureDetected().
 *
 * \par Keys and certificates
 * Keys and certificates that are passed in stay the caller's, and must live as long as this object
 * or a copy of it uses them. What the digest reads from PEM text it keeps itself: a key until it is
 * replaced, certificates for as long as this object or a copy lists them in certificateChain().
 * The key of a certificate is the digest's own, too.
 *
 * \par Copies
 * A copy starts over without the data. It has the signature and the certificates, and borrows the
 * key: when the original replaces a key of its own or goes, the copy has none. Assignment gives the
 * same, to itself too; but an object never lets go of a key of its own that it is handed again.
 * A moved object takes everything with it, data included; what copies have borrowed stays good.
 *
 * \par Failures
 * Throws SignatureException with a fixed message, and IOException "Could not read <path>" for a key
 * or signature file that is missing or empty. After a throw the key, its certificates and the
 * signature are as before, except that verify1File() has started over. What is in OpenSSL's error
 * queue stays there, unless OpenSSL itself drops it: the queue has room for 15 entries, and one
 * operation that fails adds a few for a while.
 *
 * \par Threads
 * One thread at a time may use an object, and making a copy uses the original. After that a copy
 * may be used in another thread, also while the original gets another key or goes: a verify() that
 * has begun ends with the key that it began with.
 */
class QUARN_EXPORT SignatureDigest
{
public:
    /** \throw SignatureException "Could not initialize context", when OpenSSL refuses SHA-1 */
    SignatureDigest();
    /**
     * For signatures over another digest: SHA-1, SHA-2 or SHA-3. Copies and assignments take it along.
     *
     * \throw SignatureException "Could not initialize context", also for all other digests
     */
    explicit SignatureDigest(QCryptographicHash::Algorithm algorithm);
    /** \copydoc SignatureDigest() */
    SignatureDigest(const SignatureDigest& other);
    /** \throw SignatureException "Could not initialize context"; see reset() */
    SignatureDigest& operator=(const SignatureDigest& other);
    /** Takes all that \a other has, which takes data again after a reset() or an assignment. */
    SignatureDigest(SignatureDigest&& other) noexcept;
    /** \copydoc SignatureDigest(SignatureDigest&&) */
    SignatureDigest& operator=(SignatureDigest&& other) noexcept;
    /** Frees a key of its own; copies have none from then on. */
    virtual ~SignatureDigest();

    /** Borrows \a key; null for none. Leaves certificateChain() alone. */
    void setPublicKey(EVP_PKEY* key);

    /**
     * Takes the key of \a certificate, which becomes the whole chain. Null removes the key and
     * leaves the chain alone.
     *
     * \throw SignatureException "Invalid public key"
     */
    void setPublicKey(X509* certificate);

    /** As above with the first of \a chain; the whole list becomes the chain. Empty acts as null. */
    void setPublicKey(QList<X509*> chain);

    /**
     * Takes the key from PEM text: from the first block PUBLIC KEY that holds a usable one, which
     * leaves the chain alone, or else from the first certificate, and all certificates of the text,
     * up to the first damaged block, become the chain. Blocks of other kinds are skipped; nobody is
     * ever asked for a password.
     *
     * A negative \a length stands for text that ends with a zero. Null removes the key.
     *
     * \throw SignatureException "Invalid public key", also when there is none
     * \throw std::bad_alloc or "Invalid public key" when memory is short; never a part of the chain
     */
    void setPublicKey(const char* pem, int length);

    /** Takes the key from the PEM text in a file. */
    void setPublicKeyFile(const QString& path);

    /** Whether there is a key; not when that of the original, borrowed by this copy, is gone. */
    bool hasPublicKey() const;

    /** The certificates that the last key from a certificate came with, that key's first. */
    const QList<X509*>& certificateChain() const;

    /** The raw signature, as the signing algorithm makes it. */
    void setSignature(const QByteArray& signature);
    /** Copies \a length bytes; a negative length counts as 0. */
    void setSignature(const char* data, int length);
    /** The whole file is the signature. */
    void setSignatureFile(const QString& path);

    /** Whether there is a signature that is not empty. */
    bool hasSignature() const;

    /**
     * Adds \a length bytes to the data.
     *
     * \return \a length
     * \throw SignatureException "Digest update failed", also for a negative length
     */
    int digest(const char* data, int length);

    /**
     * Adds what \a device delivers from its position on, up to \a maxLength bytes, in reads of at
     * most 4096 bytes. A negative \a maxLength stands for 2,147,483,647. Blocks as long as the
     * device's reads do.
     *
     * Ends at a read that yields nothing, fails or claims more bytes than asked for. A null device
     * counts as empty.
     *
     * \return the number of bytes added
     * \throw SignatureException "Digest update failed"; chunks before the failing one stay added
     */
    int digest(QIODevice* device, int maxLength);

    /** The same for a stream; a negative \a maxLength means no limit. */
    qint64 digest(boost::shared_ptr<IIOInterface> stream, qint64 maxLength);

    /** Adds the contents of a file, see "Large files" and "Missing data" above. */
    int digestFile(const QString& path);

    /**
     * Whether the signature fits the key and all data since the last start. Changes nothing: more
     * data may follow, and another verify() over the longer data.
     *
     * | Message of the exception | Meaning                                                        |
     * |--------------------------|----------------------------------------------------------------|
     * | "Public key expected"    | no key is set, or the one that was borrowed is gone            |
     * | "Empty Signature"        | no signature is set                                            |
     * | "OpenSsl error"          | the key is of no use for the digest, or bytes that a DSA or EC |
     * |                          | key cannot even read as a signature                            |
     */
    [[nodiscard]] bool verify();

    /**
     * Starts over and checks the data in one file against the signature in another, with the key
     * that is set. Mind "Large files" and "Missing data" above.
     */
    [[nodiscard]] bool verify1File(const QString& dataPath, const QString& signaturePath);

    /**
     * Drops the data and the signature; the key stays.
     *
     * \throw SignatureException "Could not initialize context"; no data is taken and nothing
     *        verified until a later reset() succeeds
     */
    void reset();

protected:
    /** What reset() does. */
    void init();

private:
    struct ContextDeleter
    {
        void operator()(EVP_MD_CTX* context) const;
    };

    using Key = std::shared_ptr<EVP_PKEY>;
    using Certificates = QList<std::shared_ptr<X509>>;

    void start(const EVP_MD* digestType);
    Key key() const;
    std::weak_ptr<EVP_PKEY> keyForCopies() const;
    void takeKey(Key key);
    void borrowKey(std::weak_ptr<EVP_PKEY> originalsKey, EVP_PKEY* callersKey);
    void useChain(QList<X509*> chain, const Certificates& candidates);

    std::unique_ptr<EVP_MD_CTX, ContextDeleter> m_context; // null only after a move
    const EVP_MD* m_digestType = nullptr; // one of OpenSSL's static ones
    // At most one of these is set.
    Key m_ownKey; // shared only while a check lasts, so that it goes with this object
    std::weak_ptr<EVP_PKEY> m_originalsKey; // the own key of the object that this is a copy of
    EVP_PKEY* m_callersKey = nullptr;
    QList<X509*> m_certificateChain;
    QByteArray m_signature;
    Certificates m_ownCertificates; // those in the chain that are not the caller's
};

} // namespace kel
#endif
