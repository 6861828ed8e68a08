#include <Quarn/signature/SignatureVerifier.h>

#include <Quarn/interfaces/IIOInterface.h>
#include <Quarn/signature/DataSource_p.h>
#include <Quarn/signature/StrictFile_p.h>
#include <Quarn/signature/schemes_p.h>

namespace kel {
namespace {

// More than any key makes. A file that is longer is no signature, which need not be read to tell.
constexpr qint64 longestSignature = 64 << 10;

QByteArray signatureIn(const QString& path)
{
    StrictFile file(path);
    return file.size() > longestSignature ? QByteArray() : file.readAll(longestSignature);
}

/**
 * Whether \a verify, one of OpenSSL's calls, accepts. It has numbers for signatures that don't match
 * and for those that it can't even decode, which is one to us, and answers the same for a lack of
 * memory: so a refusal counts when there is ample memory and the second attempt refuses, too.
 */
template <typename Verify>
bool accepted(Verify verify)
{
    ErrorMark mark;
    if (verify() == 1)
        return true;
    requireAmpleMemory();
    mark.renew();
    return verify() == 1;
}

} // namespace

SignatureVerifier::SignatureVerifier(const PublicKey& key, SignatureScheme scheme,
                                     int minimumSecurityBits)
    : m_key(key), m_scheme(scheme)
{
    requireUsable(key.handle(), scheme, minimumSecurityBits);
}

bool SignatureVerifier::verify(const QByteArray& data, const QByteArray& signature) const
{
    return accepted([&] {
        const DigestContext context = beginVerification(m_key.handle(), m_scheme);
        return EVP_DigestVerify(context.get(), bytesOf(signature), std::size_t(signature.size()),
                                bytesOf(data), std::size_t(data.size()));
    });
}

bool SignatureVerifier::verify(QIODevice* device, const QByteArray& signature,
                               const TransferProgress& progress) const
{
    return verifyAll(sourceFrom(device), signature, progress);
}

bool SignatureVerifier::verify(const boost::shared_ptr<IIOInterface>& stream,
                               const QByteArray& signature, const TransferProgress& progress) const
{
    return verifyAll(sourceFrom(stream), signature, progress);
}

bool SignatureVerifier::verifyFile(const QString& dataPath, const QString& signaturePath,
                                   const TransferProgress& progress) const
{
    const QByteArray signature = signatureIn(signaturePath);
    StrictFile file(dataPath);
    return verifyAll(sourceFrom(file), signature, progress);
}

QByteArray SignatureVerifier::verifiedContents(const QString& dataPath,
                                               const QString& signaturePath, qint64 maxSize) const
{
    const QByteArray signature = signatureIn(signaturePath);
    const QByteArray contents = StrictFile(dataPath).readAll(maxSize);
    return verify(contents, signature) ? contents : QByteArray();
}

bool SignatureVerifier::verifyAll(const DataSource& source, const QByteArray& signature,
                                  const TransferProgress& progress) const
{
    if (!takesPieces(m_scheme))
        return verify(allOf(source, maxUndigestedSize, progress), signature);
    const DigestContext context = beginVerification(m_key.handle(), m_scheme);
    digestAll(source, context.get(), progress);
    return accepted([&] {
        return EVP_DigestVerifyFinal(context.get(), bytesOf(signature),
                                     std::size_t(signature.size()));
    });
}

} // namespace kel
