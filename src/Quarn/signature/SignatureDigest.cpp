#include <Quarn/signature/SignatureDigest.h>

#include <Quarn/companion/narrow_p.h>
#include <Quarn/interfaces/IIOInterface.h>
#include <Quarn/signature/SignatureException.h>

#include <QFile>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace kel {
namespace {

constexpr int chunkSize = 4096;

struct Deleter
{
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(unsigned char* bytes) const { OPENSSL_free(bytes); }
};

using Bio = std::unique_ptr<BIO, Deleter>;
using Key = std::unique_ptr<EVP_PKEY, Deleter>;
using Certificates = QList<std::shared_ptr<X509>>;

/** Takes back what a call adds to OpenSSL's error queue, and leaves what others put there. */
class ErrorMark
{
public:
    ErrorMark() { ERR_set_mark(); }
    ~ErrorMark() { ERR_pop_to_mark(); }

private:
    Q_DISABLE_COPY(ErrorMark)
};

[[noreturn]] void fail(const char* message)
{
    throw SignatureException(QString::fromLatin1(message));
}

/** OpenSSL's default callback would ask on the terminal. */
int refusePassword(char*, int, int, void*)
{
    return -1;
}

Bio textBio(const char* pem, int length)
{
    Bio bio(BIO_new_mem_buf(pem, length));
    if (!bio)
        fail("Invalid public key");
    return bio;
}

/**
 * The first usable PUBLIC KEY. PEM_read_bio_PUBKEY() of OpenSSL 3 looks past damaged blocks as well,
 * but asks for the passwords of private keys, takes blocks of other labels, and gives up when it
 * finds an entry of somebody else in the error queue.
 */
Key publicKeyIn(const char* pem, int length)
{
    const Bio bio = textBio(pem, length);
    Key key;
    while (!key && !BIO_eof(bio.get())) {
        const ErrorMark mark; // the queue is short: many damaged blocks would push others out
        unsigned char* bytes = nullptr;
        long size = 0;
        if (!PEM_bytes_read_bio(&bytes, &size, nullptr, PEM_STRING_PUBLIC, bio.get(),
                                refusePassword, nullptr))
            continue; // behind the damaged block, or at the end
        const std::unique_ptr<unsigned char, Deleter> owner(bytes);
        const unsigned char* position = bytes;
        key.reset(d2i_PUBKEY(nullptr, &position, size));
    }
    return key;
}

Certificates certificatesIn(const char* pem, int length)
{
    const Bio bio = textBio(pem, length);
    Certificates certificates;
    while (X509* const next = PEM_read_bio_X509(bio.get(), nullptr, refusePassword, nullptr))
        certificates.append(std::shared_ptr<X509>(next, X509_free));
    return certificates;
}

/** A key reference for the caller to free; null for no certificate. */
Key keyOf(X509* certificate)
{
    const ErrorMark mark;
    Key key(certificate ? X509_get_pubkey(certificate) : nullptr);
    if (certificate && !key)
        fail("Invalid public key");
    return key;
}

/** The owners of those certificates in \a chain that \a candidates hold. */
Certificates ownersOf(const QList<X509*>& chain, const Certificates& candidates)
{
    Certificates owners;
    for (X509* const certificate : chain) {
        const auto owner
            = std::find_if(candidates.begin(), candidates.end(),
                           [=](const auto& held) { return held.get() == certificate; });
        if (owner != candidates.end())
            owners.append(*owner);
    }
    return owners;
}

/** Feeds what \a read delivers, up to \a limit bytes; returns the count. */
template <typename Read>
qint64 digestChunks(SignatureDigest& digest, qint64 limit, const Read& read)
{
    alignas(64) char buffer[chunkSize]; // a copy that starts amid a cache line is slow
    qint64 total = 0;
    while (total < limit) {
        const int wanted = int(std::min<qint64>(limit - total, chunkSize));
        const qint64 count = read(buffer, wanted);
        if (count <= 0 || count > wanted)
            break;
        digest.digest(buffer, int(count));
        total += count;
    }
    return total;
}

QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    QByteArray contents;
    if (file.open(QIODevice::ReadOnly))
        contents = file.readAll();
    if (contents.isEmpty())
        throw IOException(QStringLiteral("Could not read ") + path);
    return contents;
}

} // namespace

void SignatureDigest::ContextDeleter::operator()(EVP_MD_CTX* context) const
{
    EVP_MD_CTX_free(context);
}

SignatureDigest::SignatureDigest() : m_context(EVP_MD_CTX_new())
{
    init();
}

SignatureDigest::SignatureDigest(const SignatureDigest& other)
    : m_context(EVP_MD_CTX_new()), m_publicKey(other.m_publicKey),
      m_certificateChain(other.m_certificateChain), m_ownCertificates(other.m_ownCertificates)
{
    init();
    m_signature = other.m_signature;
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): starts over as well, and keeps all the rest
SignatureDigest& SignatureDigest::operator=(const SignatureDigest& other)
{
    // The other object may list certificates of ours as borrowed ones.
    const Certificates owners
        = ownersOf(other.m_certificateChain, m_ownCertificates + other.m_ownCertificates);
    const QByteArray signature = other.m_signature; // init() clears ours, which may be the same
    init();
    replacePublicKey(other.m_publicKey, false);
    m_certificateChain = other.m_certificateChain;
    m_ownCertificates = owners;
    m_signature = signature;
    return *this;
}

SignatureDigest::~SignatureDigest()
{
    replacePublicKey(nullptr, false);
}

void SignatureDigest::setPublicKey(EVP_PKEY* key)
{
    replacePublicKey(key, false);
}

void SignatureDigest::setPublicKey(X509* certificate)
{
    if (certificate)
        useChain({certificate}, m_ownCertificates);
    else
        replacePublicKey(nullptr, false);
}

void SignatureDigest::setPublicKey(QList<X509*> chain)
{
    if (chain.isEmpty())
        replacePublicKey(nullptr, false);
    else
        useChain(std::move(chain), m_ownCertificates);
}

void SignatureDigest::setPublicKey(const char* pem, int length)
{
    if (!pem) {
        replacePublicKey(nullptr, false);
        return;
    }
    const ErrorMark mark;
    if (Key key = publicKeyIn(pem, length)) {
        replacePublicKey(key.release(), true);
        return;
    }
    const Certificates certificates = certificatesIn(pem, length);
    if (certificates.isEmpty())
        fail("Invalid public key");
    QList<X509*> chain;
    for (const auto& certificate : certificates)
        chain.append(certificate.get());
    useChain(std::move(chain), certificates);
}

void SignatureDigest::setPublicKeyFile(const QString& path)
{
    const QByteArray pem = contentsOf(path);
    setPublicKey(pem.constData(), narrow(pem.size()));
}

bool SignatureDigest::hasPublicKey() const
{
    return m_publicKey;
}

const QList<X509*>& SignatureDigest::certificateChain() const
{
    return m_certificateChain;
}

void SignatureDigest::setSignature(const QByteArray& signature)
{
    m_signature = signature;
}

void SignatureDigest::setSignature(const char* data, int length)
{
    m_signature = QByteArray(data, std::max(length, 0));
}

void SignatureDigest::setSignatureFile(const QString& path)
{
    m_signature = contentsOf(path);
}

bool SignatureDigest::hasSignature() const
{
    return !m_signature.isEmpty();
}

int SignatureDigest::digest(const char* data, int length)
{
    const ErrorMark mark;
    const bool usable = length >= 0 && (data || length == 0) && EVP_MD_CTX_get0_md(m_context.get());
    if (!usable || !EVP_DigestUpdate(m_context.get(), data, size_t(length)))
        fail("Digest update failed");
    return length;
}

int SignatureDigest::digest(QIODevice* device, int maxLength)
{
    if (!device)
        return 0;
    const int limit = maxLength < 0 ? std::numeric_limits<int>::max() : maxLength;
    return int(digestChunks(
        *this, limit, [device](char* buffer, int wanted) { return device->read(buffer, wanted); }));
}

qint64 SignatureDigest::digest(boost::shared_ptr<IIOInterface> stream, qint64 maxLength)
{
    if (!stream)
        return 0;
    const qint64 limit = maxLength < 0 ? std::numeric_limits<qint64>::max() : maxLength;
    return digestChunks(
        *this, limit, [&stream](char* buffer, int wanted) { return stream->read(buffer, wanted); });
}

int SignatureDigest::digestFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? digest(&file, -1) : 0;
}

bool SignatureDigest::verify()
{
    if (!m_publicKey)
        fail("Public key expected");
    if (m_signature.isEmpty())
        fail("Empty Signature");
    const ErrorMark mark;
    if (!EVP_MD_CTX_get0_md(m_context.get()))
        fail("OpenSsl error"); // EVP_VerifyFinal() would answer that the signature doesn't match
    const auto* const bytes = reinterpret_cast<const unsigned char*>(m_signature.constData());
    const auto size = static_cast<unsigned int>(narrow(m_signature.size()));
    const int result = EVP_VerifyFinal(m_context.get(), bytes, size, m_publicKey);
    if (result < 0)
        fail("OpenSsl error");
    return result == 1;
}

bool SignatureDigest::verify1File(const QString& dataPath, const QString& signaturePath)
{
    reset();
    setSignatureFile(signaturePath);
    digestFile(dataPath);
    return verify();
}

void SignatureDigest::reset()
{
    init();
}

void SignatureDigest::init()
{
    const ErrorMark mark;
    EVP_MD_CTX* const context = m_context.get();
    EVP_MD_CTX_reset(context);
    if (!context || !EVP_DigestInit_ex(context, EVP_sha1(), nullptr)) {
        EVP_MD_CTX_reset(context); // it still names the digest, as if it had been started
        fail("Could not initialize context");
    }
    m_signature.clear();
}

/** With \a owned, takes over a reference to \a key. */
void SignatureDigest::replacePublicKey(EVP_PKEY* key, bool owned)
{
    if (m_ownsPublicKey) {
        if (key == m_publicKey && !owned)
            return; // our own key, handed back to us: it stays ours
        EVP_PKEY_free(m_publicKey);
    }
    m_publicKey = key;
    m_ownsPublicKey = owned && key;
}

/** Takes the key of the first certificate; \a candidates may hold some or all of the chain. */
void SignatureDigest::useChain(QList<X509*> chain, const QList<std::shared_ptr<X509>>& candidates)
{
    Key key = keyOf(chain.first());
    const Certificates owners = ownersOf(chain, candidates);
    replacePublicKey(key.release(), true);
    m_certificateChain = std::move(chain);
    m_ownCertificates = owners;
}

} // namespace kel
