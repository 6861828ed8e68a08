#ifndef QUARN_SIGNATURE_CERTIFICATEVERIFIER_H
#define QUARN_SIGNATURE_CERTIFICATEVERIFIER_H

#include <Quarn/quarn_export.h>
#include <Quarn/signature/PublicKey.h>

#include <QByteArray>
#include <QDateTime>
#include <QList>

#include <memory>

struct stack_st_X509;

namespace kel {

/**
 * \brief Decides whether a certificate may be trusted, and answers its key.
 *
 * Only the given certificates are trusted, never those of the system; nothing is fetched from the
 * net, so revocation isn't checked. Every certificate between the first one and a trusted one must be
 * an authority's, be valid in time, and be signed by the next.
 *
 *     kel::CertificateVerifier authority(companyRootsPem);
 *     authority.setPinnedKeys({releaseKeyFingerprint, spareKeyFingerprint});
 *     const kel::PublicKey key = authority.verify(chainPem);
 *
 * \par Threads
 * Several threads may call verify() on one object that none of them changes.
 */
class QUARN_EXPORT CertificateVerifier
{
public:
    /** What the first certificate must be good for. */
    enum Purpose {
        CodeSigning, ///< the first certificate must name it as an extended key usage
        AnyPurpose, ///< as long as the first certificate's key may sign data
    };

    /**
     * Trusts all certificates in \a trustedPem, those of authorities further down as much as roots.
     *
     * \throw SignatureException "Invalid certificate" when there is none, or a damaged block; "Too
     *        many certificates" for more than 1000
     */
    explicit CertificateVerifier(const QByteArray& trustedPem);

    /** CodeSigning at first. */
    void setPurpose(Purpose purpose);

    /** The time at which all certificates must be valid; an invalid one, as at first, is now. */
    void setTime(const QDateTime& time);

    /**
     * For every key and every signature of the chain; 112 at first, which refuses RSA below 2048 bits
     * and SHA-1. OpenSSL knows 80, 112, 128, 192 and 256: others are rounded up, and 0 or less
     * allows anything.
     */
    void setMinimumSecurityBits(int bits);

    /**
     * Values of PublicKey::fingerprint(), of which the first certificate's key must have one; empty,
     * as at first, for any key.
     *
     * \throw SignatureException "Invalid fingerprint" for one that has not 32 bytes
     */
    void setPinnedKeys(const QList<QByteArray>& fingerprints);

    /**
     * The key of the first certificate in \a chainPem. What else the text holds only helps to get
     * from there to one that is trusted.
     *
     * | Message of the SignatureException  | Meaning                                              |
     * |------------------------------------|------------------------------------------------------|
     * | "Invalid certificate"              | there is none in the text, or a damaged block        |
     * | "Too many certificates"            | more than 1000                                       |
     * | "Certificate not trusted: REASON"  | in OpenSSL's words, such as "certificate has         |
     * |                                    | expired", or "key is not pinned"                     |
     */
    [[nodiscard]] PublicKey verify(const QByteArray& chainPem) const;

private:
    std::shared_ptr<stack_st_X509> m_trusted;
    Purpose m_purpose = CodeSigning;
    QDateTime m_time;
    int m_minimumSecurityBits = 112;
    QList<QByteArray> m_pinnedKeys;
};

} // namespace kel
#endif
