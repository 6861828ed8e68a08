// PEM text from anywhere: as a public key, as certificates, as a private key.
#include "Input.h"

#include <Quarn/signature/CertificateVerifier.h>
#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureSigner.h>
#include <Quarn/signature/SignatureVerifier.h>

#include <openssl/err.h>

using namespace kel;

namespace {

/** Whether \a call did what it should instead of refusing the text. */
template <typename Call>
bool done(Call call)
{
    try {
        call();
        return true;
    } catch (const SignatureException&) {
        return false;
    }
}

void readAsPublicKey(const QByteArray& pem)
{
    PublicKey key;
    const bool read = done([&] { key = PublicKey::fromPem(pem); });
    require(read != key.isNull(), "there is a key unless it is refused");
    QByteArray again;
    // Some keys can be read, but not written.
    if (done([&] { again = key.toPem(); }) && !again.isEmpty())
        require(PublicKey::fromPem(again).fingerprint() == key.fingerprint(), "the same key again");

    SignatureDigest digest;
    require(done([&] { digest.setPublicKey(pem.constData(), int(pem.size())); })
                == digest.hasPublicKey(),
            "the digest has a key unless it is refused");
    digest.setSignature(pem);
    done([&] { require(!digest.verify(), "no signature of nothing"); });
}

void readAsCertificates(const QByteArray& pem)
{
    done([&] {
        CertificateVerifier verifier(pem);
        verifier.setPurpose(CertificateVerifier::AnyPurpose);
        verifier.setMinimumSecurityBits(0);
        verifier.setTime(QDateTime::fromSecsSinceEpoch(1700000000));
        require(!verifier.verify(pem).isNull(), "a key of what is trusted");
    });
}

void readAsPrivateKey(const QByteArray& pem)
{
    for (const auto scheme :
         {SignatureScheme::RsaPssSha256, SignatureScheme::EcdsaSha256, SignatureScheme::Ed25519}) {
        done([&] {
            const SignatureSigner signer = SignatureSigner::fromPem(pem, "passphrase", scheme);
            const QByteArray signature = signer.sign("data");
            // The two halves of a key that somebody made up need not belong together.
            (void)SignatureVerifier(signer.publicKey(), scheme).verify("data", signature);
        });
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // As text, or as the contents of a block, which no fuzzer would hit upon in Base64.
    constexpr const char* labels[]
        = {"",           "PUBLIC KEY",      "CERTIFICATE",   "PRIVATE KEY", "ENCRYPTED PRIVATE KEY",
           "PUBLIC KEY", "RSA PRIVATE KEY", "EC PRIVATE KEY"};
    Input input(data, size);
    const QByteArray label = labels[input.number(7)];
    QByteArray pem = input.rest();
    if (!label.isEmpty())
        pem = "-----BEGIN " + label + "-----\n" + pem.toBase64() + "\n-----END " + label
              + "-----\n";
    readAsPublicKey(pem);
    readAsCertificates(pem);
    readAsPrivateKey(pem);
    require(ERR_peek_error() == 0, "OpenSSL's errors are as before");
    return 0;
}
