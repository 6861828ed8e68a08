#include "signature/OpenSsl.h"
#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/signature/SignatureSigner.h>
#include <Quarn/signature/SignatureVerifier.h>

#include <QCryptographicHash>
#include <QFile>
#include <QProcess>

#include <fcntl.h>
#include <unistd.h>

// A file of 1 GiB checked against its SHA-256 signature: beside reading and digesting it in turn, and
// beside digesting alone, which reading ahead on a second processor comes close to.

namespace bench {
namespace {

constexpr int piece = 128 << 10;
constexpr int pieces = (1 << 30) / piece;
constexpr auto scheme = kel::SignatureScheme::EcdsaSha256;

/** The file, made when used. */
struct Update
{
    Update() : signer(kel::SignatureSigner::generate(scheme))
    {
        const std::vector<char>& part = noise(256 << 20);
        QFile file(path);
        insist(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered), "no file could be made");
        for (qint64 done = 0; done < qint64(pieces) * piece; done += qint64(part.size()))
            insist(file.write(part.data(), qint64(part.size())) == qint64(part.size()),
                   "a file could not be written");
        signer.signFile(path, signaturePath);
        QFile key(keyPath);
        insist(key.open(QIODevice::WriteOnly) && key.write(signer.publicKey().toPem()) > 0,
               "a key could not be written");
        QFile written(signaturePath);
        insist(written.open(QIODevice::ReadOnly), "a signature could not be read");
        signature = written.readAll();
    }

    static const Update& instance()
    {
        static const Update update;
        return update;
    }

    const QString path = Scratch::path(QStringLiteral("update"));
    const QString signaturePath = Scratch::path(QStringLiteral("update.sig"));
    const QString keyPath = Scratch::path(QStringLiteral("update.pem"));
    const kel::SignatureSigner signer;
    QByteArray signature;
};

Context begun()
{
    Context context(EVP_MD_CTX_new());
    insist(EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr,
                                Update::instance().signer.publicKey().handle())
               == 1,
           "no verification");
    return context;
}

void finish(const Context& context)
{
    const QByteArray& signature = Update::instance().signature;
    insist(EVP_DigestVerifyFinal(context.get(),
                                 reinterpret_cast<const unsigned char*>(signature.constData()),
                                 std::size_t(signature.size()))
               == 1,
           "the signature doesn't match");
}

void readAndDigest()
{
    const Context context = begun();
    const int file = ::open(QFile::encodeName(Update::instance().path).constData(), O_RDONLY);
    alignas(64) static char buffer[piece];
    for (ssize_t count; (count = ::read(file, buffer, sizeof buffer)) > 0;)
        EVP_DigestVerifyUpdate(context.get(), buffer, std::size_t(count));
    ::close(file);
    finish(context);
}

void digestAlone()
{
    const Context context = begun();
    const std::vector<char>& part = noise(256 << 20);
    for (int done = 0; done < pieces; ++done)
        EVP_DigestVerifyUpdate(context.get(), part.data() + std::size_t(done) * piece % part.size(),
                               piece);
    finish(context);
}

void verify()
{
    const Update& update = Update::instance();
    const kel::SignatureVerifier verifier(update.signer.publicKey(), scheme);
    insist(verifier.verifyFile(update.path, update.signaturePath), "the signature doesn't match");
}

} // namespace

void addStrictVerification()
{
    add("verify-strictly", "1Gi", limit, readAndDigest);
    add("verify-strictly", "1Gi", quarn, verify);
    add("verify-strictly", "1Gi", standard, [] {
        const Update& update = Update::instance();
        insist(QProcess::execute(QStringLiteral("openssl"),
                                 {QStringLiteral("dgst"), QStringLiteral("-sha256"),
                                  QStringLiteral("-verify"), update.keyPath,
                                  QStringLiteral("-signature"), update.signaturePath,
                                  QStringLiteral("-out"), QStringLiteral("/dev/null"), update.path})
                   == 0,
               "openssl could not verify the file");
    });
    add("verify-strictly", "1Gi", qt, [] { // the digest only: Qt has no signatures
        QFile file(Update::instance().path);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        insist(file.open(QIODevice::ReadOnly) && hash.addData(&file), "the file could not be read");
        insist(!hash.result().isEmpty(), "no digest");
    });
    add("verify-digest", "1Gi", limit, digestAlone);
    add("verify-digest", "1Gi", quarn, verify);
}

} // namespace bench
