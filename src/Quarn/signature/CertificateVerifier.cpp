#include <Quarn/signature/CertificateVerifier.h>

#include <Quarn/signature/PemBlocks_p.h>
#include <Quarn/signature/certificates_p.h>

#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <iterator>

namespace kel {
namespace {

struct Deleter
{
    void operator()(X509_STORE* store) const { X509_STORE_free(store); }
    void operator()(X509_STORE_CTX* context) const { X509_STORE_CTX_free(context); }
    void operator()(STACK_OF(X509) * stack) const { sk_X509_pop_free(stack, X509_free); }
};

using Stack = std::unique_ptr<STACK_OF(X509), Deleter>;

constexpr int fingerprintSize = 32;
constexpr int mostCertificates = 1000; // OpenSSL takes a tenth of a millisecond for each

[[noreturn]] void distrust(const char* reason)
{
    throw SignatureException(QStringLiteral("Certificate not trusted: ")
                             + QString::fromLatin1(reason));
}

Stack certificatesIn(const QByteArray& pem)
{
    const ErrorMark mark;
    Stack stack(sk_X509_new_null());
    require(stack != nullptr);
    try {
        for (PemBlocks blocks(pem); blocks.next();) {
            const ErrorMark blockMark; // the queue is short
            if (!blocks.isCertificate())
                continue;
            if (sk_X509_num(stack.get()) == mostCertificates)
                fail("Too many certificates");
            Certificate certificate = certificateFrom(blocks.contents());
            if (!certificate)
                throw PemBlocks::Damaged();
            require(sk_X509_push(stack.get(), certificate.get()) > 0);
            (void)certificate.release(); // the stack's
        }
    } catch (const PemBlocks::Damaged&) {
        stack.reset();
    }
    if (!stack || sk_X509_num(stack.get()) == 0)
        fail("Invalid certificate");
    return stack;
}

int authLevelFor(int securityBits)
{
    constexpr int bitsOfLevels[] = {0, 80, 112, 128, 192};
    return int(std::lower_bound(std::begin(bitsOfLevels), std::end(bitsOfLevels), securityBits)
               - std::begin(bitsOfLevels));
}

/** Whether the key may sign data, and code if that is its \a purpose. */
bool maySign(X509* certificate, CertificateVerifier::Purpose purpose)
{
    constexpr std::uint32_t signing = KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION;
    if (!(X509_get_key_usage(certificate) & signing)) // all bits are set where nothing is said
        return false;
    return purpose != CertificateVerifier::CodeSigning
           || ((X509_get_extension_flags(certificate) & EXFLAG_XKUSAGE)
               && (X509_get_extended_key_usage(certificate) & XKU_CODE_SIGN));
}

/** Whether an authority in the chain, other than the trusted one at its end, may vouch for that. */
bool mayVouch(X509* certificate, CertificateVerifier::Purpose purpose)
{
    constexpr int byBasicConstraints = 1; // and not only for a lack of anything that says otherwise
    if (X509_check_ca(certificate) != byBasicConstraints)
        return false;
    return purpose != CertificateVerifier::CodeSigning
           || (X509_get_extended_key_usage(certificate) & (XKU_CODE_SIGN | XKU_ANYEKU));
}

/** OpenSSL has a purpose for code signing, too, from 3.2 on; this is for all its versions. */
void requirePurpose(STACK_OF(X509) * chain, CertificateVerifier::Purpose purpose)
{
    bool fits = maySign(sk_X509_value(chain, 0), purpose);
    for (int index = 1; index < sk_X509_num(chain) - 1; ++index)
        fits = fits && mayVouch(sk_X509_value(chain, index), purpose);
    if (!fits)
        distrust(X509_verify_cert_error_string(X509_V_ERR_INVALID_PURPOSE));
}

} // namespace

CertificateVerifier::CertificateVerifier(const QByteArray& trustedPem)
    : m_trusted(certificatesIn(trustedPem))
{ }

void CertificateVerifier::setPurpose(Purpose purpose)
{
    m_purpose = purpose;
}

void CertificateVerifier::setTime(const QDateTime& time)
{
    m_time = time;
}

void CertificateVerifier::setMinimumSecurityBits(int bits)
{
    m_minimumSecurityBits = bits;
}

void CertificateVerifier::setPinnedKeys(const QList<QByteArray>& fingerprints)
{
    for (const QByteArray& fingerprint : fingerprints)
        if (fingerprint.size() != fingerprintSize)
            fail("Invalid fingerprint");
    m_pinnedKeys = fingerprints;
}

PublicKey CertificateVerifier::verify(const QByteArray& chainPem) const
{
    const Stack given = certificatesIn(chainPem);
    const ErrorMark mark;
    X509* const first = sk_X509_value(given.get(), 0);
    const std::unique_ptr<X509_STORE, Deleter> store(X509_STORE_new());
    const std::unique_ptr<X509_STORE_CTX, Deleter> context(X509_STORE_CTX_new());
    require(store && context
            && X509_STORE_CTX_init(context.get(), store.get(), first, given.get()));
    // A store would sort itself anew with each certificate that is added.
    X509_STORE_CTX_set0_trusted_stack(context.get(), m_trusted.get());
    X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(context.get());
    require(X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_PARTIAL_CHAIN));
    X509_VERIFY_PARAM_set_auth_level(parameters, authLevelFor(m_minimumSecurityBits));
    if (m_time.isValid())
        X509_VERIFY_PARAM_set_time(parameters, time_t(m_time.toSecsSinceEpoch()));

    if (X509_verify_cert(context.get()) != 1) {
        const int error = X509_STORE_CTX_get_error(context.get());
        require(error != X509_V_OK && error != X509_V_ERR_OUT_OF_MEM);
        distrust(X509_verify_cert_error_string(error));
    }
    requirePurpose(X509_STORE_CTX_get0_chain(context.get()), m_purpose);
    const PublicKey key = PublicKey::fromCertificate(first);
    if (!m_pinnedKeys.isEmpty() && !m_pinnedKeys.contains(key.fingerprint()))
        distrust("key is not pinned");
    return key;
}

} // namespace kel
