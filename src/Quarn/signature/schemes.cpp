#include <Quarn/signature/schemes_p.h>

#include <openssl/core_names.h>
#include <openssl/rsa.h>

namespace kel {
namespace {

struct Traits
{
    const char* keyType;
    const char* digest; // null for none
    int digestSize; // bytes
    bool pss;
    const char* curve; // of new keys
};

const Traits& traitsOf(SignatureScheme scheme)
{
    static constexpr Traits table[] = {
        {"RSA", "SHA256", 32, false, nullptr}, {"RSA", "SHA384", 48, false, nullptr},
        {"RSA", "SHA512", 64, false, nullptr}, {"RSA", "SHA256", 32, true, nullptr},
        {"RSA", "SHA384", 48, true, nullptr},  {"RSA", "SHA512", 64, true, nullptr},
        {"EC", "SHA256", 32, false, "P-256"},  {"EC", "SHA384", 48, false, "P-384"},
        {"EC", "SHA512", 64, false, "P-521"},  {"ED25519", nullptr, 0, false, nullptr},
    };
    const auto index = std::size_t(scheme);
    if (index >= std::size(table))
        fail("Key does not fit the scheme");
    return table[index];
}

bool isRsa(const Traits& traits)
{
    return traits.keyType == std::string("RSA");
}

/** RSA keys that OpenSSL can work with, and that have room for the digest with its padding. */
bool rsaFits(EVP_PKEY* key, const Traits& traits)
{
    constexpr int mostBits = 16384;
    constexpr int pkcs1Padding = 19 + 11; // the digest's name, and what fills up
    const int room = (EVP_PKEY_get_bits(key) - 1 + 7) / 8;
    return EVP_PKEY_get_bits(key) <= mostBits
           && room >= traits.digestSize + (traits.pss ? traits.digestSize + 2 : pkcs1Padding);
}

bool fits(EVP_PKEY* key, const Traits& traits)
{
    if (!isRsa(traits))
        return EVP_PKEY_is_a(key, traits.keyType);
    return (EVP_PKEY_is_a(key, "RSA") || (traits.pss && EVP_PKEY_is_a(key, "RSA-PSS")))
           && rsaFits(key, traits);
}

/** Of an RSA key: with 1 as the public exponent anybody can sign; OpenSSL counts such a key's bits all the same. */
bool hasSafeExponent(EVP_PKEY* key)
{
    BIGNUM* number = nullptr;
    require(EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_E, &number));
    const BigNumber exponent(number);
    return BN_is_odd(number) && !BN_is_one(number);
}

template <typename Begin>
DigestContext begin(EVP_PKEY* key, SignatureScheme scheme, const Begin& beginOperation)
{
    const ErrorMark mark;
    const Traits& traits = traitsOf(scheme);
    DigestContext context(EVP_MD_CTX_new());
    EVP_PKEY_CTX* parameters = nullptr; // the context's
    if (!context
        || beginOperation(context.get(), &parameters, traits.digest, nullptr, nullptr, key, nullptr)
               != 1
        || (traits.pss
            && (EVP_PKEY_CTX_set_rsa_padding(parameters, RSA_PKCS1_PSS_PADDING) != 1
                || EVP_PKEY_CTX_set_rsa_pss_saltlen(parameters, RSA_PSS_SALTLEN_DIGEST) != 1)))
        fail("Key does not fit the scheme");
    return context;
}

} // namespace

bool takesPieces(SignatureScheme scheme)
{
    return traitsOf(scheme).digest;
}

void requireUsable(EVP_PKEY* key, SignatureScheme scheme, int minimumSecurityBits)
{
    const ErrorMark mark;
    if (!key)
        fail("Public key expected");
    const Traits& traits = traitsOf(scheme);
    if (!fits(key, traits))
        fail("Key does not fit the scheme");
    if (EVP_PKEY_get_security_bits(key) < minimumSecurityBits
        || (isRsa(traits) && !hasSafeExponent(key)))
        fail("Key too weak");
    beginVerification(key, scheme); // an RSA-PSS key may allow but some digests
}

DigestContext beginVerification(EVP_PKEY* key, SignatureScheme scheme)
{
    return begin(key, scheme, EVP_DigestVerifyInit_ex);
}

DigestContext beginSignature(EVP_PKEY* key, SignatureScheme scheme)
{
    return begin(key, scheme, EVP_DigestSignInit_ex);
}

Key generateKey(SignatureScheme scheme)
{
    constexpr std::size_t rsaBits = 3072;
    const ErrorMark mark;
    const Traits& traits = traitsOf(scheme);
    Key key(!traits.digest ? EVP_PKEY_Q_keygen(nullptr, nullptr, traits.keyType)
            : traits.curve ? EVP_EC_gen(traits.curve)
                           : EVP_RSA_gen(rsaBits));
    require(key != nullptr);
    return key;
}

} // namespace kel
