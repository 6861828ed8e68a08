#include <Quarn/signature/SignatureDigest.h>

#include <Quarn/companion/narrow_p.h>
#include <Quarn/interfaces/IIOInterface.h>
#include <Quarn/platform/SystemPath_p.h>
#include <Quarn/signature/ErrorMark_p.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/ampleMemory_p.h>
#include <Quarn/signature/pemText_p.h>

#include <QFile>

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

namespace kel {
namespace {

constexpr int chunkSize = 4096;

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;
using Certificates = QList<std::shared_ptr<X509>>;

[[noreturn]] void fail(const char* message)
{
    throw SignatureException(QString::fromLatin1(message));
}

/** Null for one that is none to sign with. */
const EVP_MD* digestTypeOf(QCryptographicHash::Algorithm algorithm)
{
    switch (algorithm) {
    case QCryptographicHash::Sha1:
        return EVP_sha1();
    case QCryptographicHash::Sha224:
        return EVP_sha224();
    case QCryptographicHash::Sha256:
        return EVP_sha256();
    case QCryptographicHash::Sha384:
        return EVP_sha384();
    case QCryptographicHash::Sha512:
        return EVP_sha512();
    case QCryptographicHash::RealSha3_224:
        return EVP_sha3_224();
    case QCryptographicHash::RealSha3_256:
        return EVP_sha3_256();
    case QCryptographicHash::RealSha3_384:
        return EVP_sha3_384();
    case QCryptographicHash::RealSha3_512:
        return EVP_sha3_512();
    default:
        return nullptr;
    }
}

/** A key reference of our own; null for no certificate. */
Key keyOf(X509* certificate)
{
    const ErrorMark mark;
    Key key(certificate ? X509_get_pubkey(certificate) : nullptr, EVP_PKEY_free);
    if (certificate && !key)
        fail("Invalid public key");
    return key;
}

/** The owners of those certificates in \a chain that \a candidates hold. */
Certificates ownersOf(const QList<X509*>& chain, const Certificates& candidates)
{
    std::unordered_map<X509*, const Certificate*> held;
    for (const Certificate& candidate : candidates)
        held.emplace(candidate.get(), &candidate);
    Certificates owners;
    for (X509* const certificate : chain) {
        const auto owner = held.find(certificate);
        if (owner != held.end())
            owners.append(*owner->second);
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
    const bool opened = hasSystemForm(path) && file.open(QIODevice::ReadOnly);
    // A read that fails halfway gives what came before; only the next one tells.
    for (QByteArray next; opened && !(next = file.readAll()).isEmpty();)
        contents += next;
    if (contents.isEmpty() || file.error() != QFile::NoError)
        throw IOException(QStringLiteral("Could not read ") + path);
    return contents;
}

} // namespace

void SignatureDigest::ContextDeleter::operator()(EVP_MD_CTX* context) const
{
    EVP_MD_CTX_free(context);
}

SignatureDigest::SignatureDigest() : SignatureDigest(QCryptographicHash::Sha1) { }

SignatureDigest::SignatureDigest(QCryptographicHash::Algorithm algorithm)
{
    start(digestTypeOf(algorithm));
}

SignatureDigest::SignatureDigest(const SignatureDigest& other)
    : m_digestType(other.m_digestType), m_originalsKey(other.keyForCopies()),
      m_callersKey(other.m_callersKey), m_certificateChain(other.m_certificateChain),
      m_ownCertificates(other.m_ownCertificates)
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
    const QByteArray signature = other.m_signature; // start() clears ours, which may be the same
    start(other.m_digestType);
    if (!m_ownKey || other.key() != m_ownKey)
        borrowKey(other.keyForCopies(), other.m_callersKey);
    m_certificateChain = other.m_certificateChain;
    m_ownCertificates = owners;
    m_signature = signature;
    return *this;
}

SignatureDigest::SignatureDigest(SignatureDigest&& other) noexcept
    : m_context(std::move(other.m_context)), m_digestType(other.m_digestType),
      m_ownKey(std::move(other.m_ownKey)), m_originalsKey(std::move(other.m_originalsKey)),
      m_callersKey(std::exchange(other.m_callersKey, nullptr)),
      m_certificateChain(std::move(other.m_certificateChain)),
      m_signature(std::move(other.m_signature)),
      m_ownCertificates(std::move(other.m_ownCertificates))
{ }

SignatureDigest& SignatureDigest::operator=(SignatureDigest&& other) noexcept
{
    SignatureDigest taken(std::move(other)); // lets go of it all should the other be this one
    m_context.swap(taken.m_context);
    std::swap(m_digestType, taken.m_digestType);
    m_ownKey.swap(taken.m_ownKey);
    m_originalsKey.swap(taken.m_originalsKey);
    std::swap(m_callersKey, taken.m_callersKey);
    m_certificateChain.swap(taken.m_certificateChain);
    m_signature.swap(taken.m_signature);
    m_ownCertificates.swap(taken.m_ownCertificates);
    return *this;
}

SignatureDigest::~SignatureDigest() = default;

void SignatureDigest::setPublicKey(EVP_PKEY* key)
{
    if (!m_ownKey || key != m_ownKey.get()) // ours stays ours
        borrowKey({}, key);
}

void SignatureDigest::setPublicKey(X509* certificate)
{
    if (certificate)
        useChain({certificate}, m_ownCertificates);
    else
        takeKey(nullptr);
}

void SignatureDigest::setPublicKey(QList<X509*> chain)
{
    if (chain.isEmpty())
        takeKey(nullptr);
    else
        useChain(std::move(chain), m_ownCertificates);
}

void SignatureDigest::setPublicKey(const char* pem, int length)
{
    if (!pem) {
        takeKey(nullptr);
        return;
    }
    if (Key key = publicKeyIn(pem, length)) {
        takeKey(std::move(key));
        return;
    }
    const Certificates certificates = certificatesIn(pem, length);
    if (certificates.isEmpty())
        fail("Invalid public key");
    QList<X509*> chain;
    for (const Certificate& certificate : certificates)
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
    return key() != nullptr;
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
    return hasSystemForm(path) && file.open(QIODevice::ReadOnly) ? digest(&file, -1) : 0;
}

bool SignatureDigest::verify()
{
    const Key key = this->key();
    if (!key)
        fail("Public key expected");
    if (m_signature.isEmpty())
        fail("Empty Signature");
    ErrorMark mark;
    if (!EVP_MD_CTX_get0_md(m_context.get()))
        fail("OpenSsl error"); // EVP_VerifyFinal() would answer that the signature doesn't match
    const auto* const bytes = reinterpret_cast<const unsigned char*>(m_signature.constData());
    const auto size = static_cast<unsigned int>(narrow(m_signature.size()));
    int result = EVP_VerifyFinal(m_context.get(), bytes, size, key.get());
    const bool certain = result != 0 || hasAmpleMemory();
    if (result == 0 && certain) {
        mark.renew();
        result = EVP_VerifyFinal(m_context.get(), bytes, size, key.get());
    }
    if (result < 0 || !certain)
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
    start(m_digestType);
}

/** Starts over with a digest, which becomes the object's own unless this fails. */
void SignatureDigest::start(const EVP_MD* digestType)
{
    const ErrorMark mark;
    if (!m_context)
        m_context.reset(EVP_MD_CTX_new());
    EVP_MD_CTX* const context = m_context.get();
    EVP_MD_CTX_reset(context);
    if (!context || !digestType || !EVP_DigestInit_ex(context, digestType, nullptr)) {
        EVP_MD_CTX_reset(context); // it still names the digest, as if it had been started
        fail("Could not initialize context");
    }
    m_digestType = digestType;
    m_signature.clear();
}

/** The key in use, which lives as long as what is returned does; null for none. */
SignatureDigest::Key SignatureDigest::key() const
{
    if (m_callersKey)
        return Key(Key(), m_callersKey); // without an owner
    return m_ownKey ? m_ownKey : m_originalsKey.lock();
}

std::weak_ptr<EVP_PKEY> SignatureDigest::keyForCopies() const
{
    return m_ownKey ? std::weak_ptr<EVP_PKEY>(m_ownKey) : m_originalsKey;
}

void SignatureDigest::takeKey(Key key)
{
    borrowKey({}, nullptr);
    m_ownKey = std::move(key);
}

void SignatureDigest::borrowKey(std::weak_ptr<EVP_PKEY> originalsKey, EVP_PKEY* callersKey)
{
    m_ownKey.reset();
    m_originalsKey = std::move(originalsKey);
    m_callersKey = callersKey;
}

/** Takes the key of the first certificate; \a candidates may hold some or all of the chain. */
void SignatureDigest::useChain(QList<X509*> chain, const Certificates& candidates)
{
    Key key = keyOf(chain.first());
    const Certificates owners = ownersOf(chain, candidates);
    takeKey(std::move(key));
    m_certificateChain = std::move(chain);
    m_ownCertificates = owners;
}

} // namespace kel
