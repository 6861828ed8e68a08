#include "signature/OpenSsl.h"
#include "signature/SignedFile.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/signature/SignatureDigest.h>

#include <QFile>
#include <QProcess>

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <fcntl.h>
#include <unistd.h>

// A file checked against its detached signature, and the key for that loaded from PEM text.

namespace bench {
namespace {

Bio text(const QByteArray& pem)
{
    return Bio(BIO_new_mem_buf(pem.constData(), int(pem.size())));
}

/** No more than taking the text apart and the key out of it. */
Key loadPlainly(const QByteArray& pem)
{
    unsigned char* bytes = nullptr;
    long size = 0;
    const Bio bio = text(pem);
    insist(
        PEM_bytes_read_bio(&bytes, &size, nullptr, PEM_STRING_PUBLIC, bio.get(), nullptr, nullptr),
        "the key could not be read");
    const std::unique_ptr<unsigned char, OpenSslDeleter> owner(bytes);
    const unsigned char* position = bytes;
    return Key(d2i_PUBKEY(nullptr, &position, size));
}

void addVerify()
{
    const auto contender
        = [](const char* name, Work work) { add("verify-file", "256Mi", name, std::move(work)); };
    contender(limit, [] {
        const SignedFile& input = SignedFile::instance();
        const Key key = loadPlainly(input.publicKey);
        const Context context(EVP_MD_CTX_new());
        EVP_VerifyInit(context.get(), EVP_sha1());
        const int file = ::open(QFile::encodeName(input.path).constData(), O_RDONLY | O_CLOEXEC);
        alignas(64) char buffer[4096];
        for (ssize_t count; (count = ::read(file, buffer, sizeof buffer)) > 0;)
            EVP_VerifyUpdate(context.get(), buffer, std::size_t(count));
        ::close(file);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(input.signature.data());
        insist(EVP_VerifyFinal(context.get(), bytes, unsigned(input.signature.size()), key.get())
                   == 1,
               "the signature doesn't match");
    });
    contender(standard, [] {
        const SignedFile& input = SignedFile::instance();
        QProcess program;
        program.start(QStringLiteral("openssl"),
                      {QStringLiteral("dgst"), QStringLiteral("-sha1"), QStringLiteral("-verify"),
                       input.keyPath, QStringLiteral("-signature"), input.signaturePath,
                       input.path});
        insist(program.waitForFinished(-1) && program.exitCode() == 0,
               "openssl could not verify the file");
    });
    contender(quarn, [] {
        const SignedFile& input = SignedFile::instance();
        kel::SignatureDigest digest;
        digest.setPublicKey(input.publicKey.constData(), int(input.publicKey.size()));
        insist(digest.verify1File(input.path, input.signaturePath), "the signature doesn't match");
    });
}

void addLoad()
{
    const auto contender
        = [](const char* name, Work work) { add("load-key", "PEM", name, std::move(work)); };
    contender(limit, [] {
        insist(loadPlainly(SignedFile::instance().publicKey) != nullptr, "no key was loaded");
    });
    contender(standard, [] {
        const Bio bio = text(SignedFile::instance().publicKey);
        insist(Key(PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr)) != nullptr,
               "no key was loaded");
    });
    contender(quarn, [] {
        const QByteArray& pem = SignedFile::instance().publicKey;
        static kel::SignatureDigest digest;
        digest.setPublicKey(pem.constData(), int(pem.size()));
        insist(digest.hasPublicKey(), "no key was loaded");
    });
}

} // namespace

void addVerification()
{
    addVerify();
    addLoad();
}

} // namespace bench
