#include "signature/SignedFile.h"

#include "signature/OpenSsl.h"
#include "support/Scratch.h"
#include "support/contest.h"

#include <QFile>

#include <openssl/pem.h>
#include <openssl/rsa.h>

namespace bench {
namespace {

QByteArray publicKeyOf(EVP_PKEY* key)
{
    const Bio bio(BIO_new(BIO_s_mem()));
    insist(PEM_write_bio_PUBKEY(bio.get(), key) == 1, "a key could not be written");
    char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    return QByteArray(text, int(length));
}

QByteArray signatureOf(const std::vector<char>& bytes, EVP_PKEY* key)
{
    const Context context(EVP_MD_CTX_new());
    QByteArray signature(EVP_PKEY_get_size(key), '\0');
    auto length = static_cast<unsigned int>(signature.size());
    insist(EVP_SignInit(context.get(), EVP_sha1())
               && EVP_SignUpdate(context.get(), bytes.data(), bytes.size())
               && EVP_SignFinal(context.get(), reinterpret_cast<unsigned char*>(signature.data()),
                                &length, key),
           "a file could not be signed");
    signature.resize(int(length));
    return signature;
}

QString written(const char* name, const QByteArray& content)
{
    const QString path = Scratch::path(QString::fromLatin1(name));
    QFile file(path);
    insist(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
           "a file of the benchmarks could not be written");
    return path;
}

} // namespace

const SignedFile& SignedFile::instance()
{
    static const SignedFile file;
    return file;
}

SignedFile::SignedFile() : path(Scratch::file(size))
{
    const Key key(EVP_RSA_gen(2048));
    insist(key != nullptr, "a key could not be made");
    signature = signatureOf(noise(size), key.get());
    publicKey = publicKeyOf(key.get());
    signaturePath = written("signature", signature);
    keyPath = written("key", publicKey);
}

} // namespace bench
