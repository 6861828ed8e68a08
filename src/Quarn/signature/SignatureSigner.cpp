#include <Quarn/signature/SignatureSigner.h>

#include <Quarn/interfaces/IIOInterface.h>
#include <Quarn/platform/FileIdentity_p.h>
#include <Quarn/platform/FileReplacement_p.h>
#include <Quarn/signature/DataSource_p.h>
#include <Quarn/signature/SignatureVerifier.h>
#include <Quarn/signature/StrictFile_p.h>
#include <Quarn/signature/Wiped_p.h>
#include <Quarn/signature/privateKeys_p.h>
#include <Quarn/signature/schemes_p.h>

#include <QFileInfo>

#include <utility>

namespace kel {
namespace {

constexpr qint64 largestKeyFile = 1 << 20;
constexpr int minimumSecurityBits = 112;

PublicKey publicHalfOf(EVP_PKEY* key)
{
    const ErrorMark mark;
    unsigned char* der = nullptr;
    const int size = i2d_PUBKEY(key, &der);
    const unsigned char* position = der;
    const Key half(size > 0 ? d2i_PUBKEY(nullptr, &position, size) : nullptr);
    OPENSSL_free(der);
    require(half != nullptr);
    return PublicKey::fromHandle(half.get());
}

/** The whole of a signature operation, or its end: \a run fills a buffer, or tells its size. */
template <typename Run>
QByteArray result(const Run& run)
{
    const ErrorMark mark;
    std::size_t size = 0;
    require(run(nullptr, &size) == 1);
    QByteArray signature(int(size), '\0');
    require(run(reinterpret_cast<unsigned char*>(signature.data()), &size) == 1);
    // Without memory to encode one, ECDSA claims success all the same, with a size of -1.
    require(size > 0 && size <= std::size_t(signature.size()));
    signature.truncate(int(size));
    return signature;
}

void save(const QByteArray& signature, const QString& path)
{
    const auto failure = FileReplacement::replaceContents(path, signature);
    if (failure.error != QFileDevice::NoError)
        throw IOException(QStringLiteral("Could not write ") + path);
}

/** Whether a signature may be put there: not in the place of its data, of a pipe or a device. */
bool mayReplace(const QString& path, const QString& dataPath)
{
    const QFileInfo info(path);
    return !info.exists() || (info.isFile() && fileIdentity(path) != fileIdentity(dataPath));
}

} // namespace

SignatureSigner::SignatureSigner(std::shared_ptr<EVP_PKEY> key, SignatureScheme scheme)
    : m_key(std::move(key)), m_scheme(scheme)
{
    requireUsable(m_key.get(), scheme, minimumSecurityBits);
    m_publicKey = publicHalfOf(m_key.get());
}

SignatureSigner SignatureSigner::fromPem(const QByteArray& pem, QByteArray passphrase,
                                         SignatureScheme scheme)
{
    const Wiped wiped(passphrase);
    SignatureSigner signer(privateKeyIn(pem, passphrase), scheme);
    // A damaged private half would sign, too.
    const SignatureVerifier verifier(signer.m_publicKey, scheme);
    const QByteArray test = "test";
    const ErrorMark mark;
    bool usable = false;
    try {
        usable = verifier.verify(test, signer.sign(test));
    } catch (const SignatureException&) {
        // As when the signature is wrong.
    }
    if (!usable)
        fail("Invalid private key");
    return signer;
}

SignatureSigner SignatureSigner::fromPemFile(const QString& path, QByteArray passphrase,
                                             SignatureScheme scheme)
{
    const Wiped wipedPassphrase(passphrase);
    QByteArray pem = StrictFile(path).readAll(largestKeyFile);
    const Wiped wipedPem(pem);
    return fromPem(pem, passphrase, scheme);
}

SignatureSigner SignatureSigner::generate(SignatureScheme scheme)
{
    return SignatureSigner(generateKey(scheme), scheme);
}

PublicKey SignatureSigner::publicKey() const
{
    return m_publicKey;
}

QByteArray SignatureSigner::toPem(QByteArray passphrase) const
{
    const Wiped wiped(passphrase);
    if (passphrase.isEmpty())
        fail("Passphrase expected");
    return encryptedPem(m_key.get(), passphrase);
}

QByteArray SignatureSigner::sign(const QByteArray& data) const
{
    const DigestContext context = beginSignature(m_key.get(), m_scheme);
    return result([&](unsigned char* signature, std::size_t* size) {
        return EVP_DigestSign(context.get(), signature, size, bytesOf(data),
                              std::size_t(data.size()));
    });
}

QByteArray SignatureSigner::sign(QIODevice* device, const TransferProgress& progress) const
{
    return signAll(sourceFrom(device), progress);
}

QByteArray SignatureSigner::sign(const boost::shared_ptr<IIOInterface>& stream,
                                 const TransferProgress& progress) const
{
    return signAll(sourceFrom(stream), progress);
}

void SignatureSigner::signFile(const QString& dataPath, const QString& signaturePath,
                               const TransferProgress& progress) const
{
    StrictFile file(dataPath);
    if (!mayReplace(signaturePath, dataPath))
        throw IOException(QStringLiteral("Could not write ") + signaturePath);
    save(signAll(sourceFrom(file), progress), signaturePath);
}

QByteArray SignatureSigner::signAll(const DataSource& source,
                                    const TransferProgress& progress) const
{
    if (!takesPieces(m_scheme))
        return sign(allOf(source, SignatureVerifier::maxUndigestedSize, progress));
    const DigestContext context = beginSignature(m_key.get(), m_scheme);
    digestAll(source, context.get(), progress);
    return result([&](unsigned char* signature, std::size_t* size) {
        return EVP_DigestSignFinal(context.get(), signature, size);
    });
}

} // namespace kel
