#include <Quarn/signature/privateKeys_p.h>

#include <Quarn/signature/SecretSequence_p.h>

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/objects.h>
#include <openssl/param_build.h>

#include <array>

namespace kel {
namespace {

struct Deleter
{
    void operator()(OSSL_PARAM* parameters) const { OSSL_PARAM_free(parameters); }
    void operator()(OSSL_PARAM_BLD* builder) const { OSSL_PARAM_BLD_free(builder); }
    void operator()(EC_GROUP* group) const { EC_GROUP_free(group); }
    void operator()(EC_POINT* point) const { EC_POINT_free(point); }
    void operator()(BN_CTX* context) const { BN_CTX_free(context); }
};

template <typename Object>
using Owner = std::unique_ptr<Object, Deleter>;

// In the order of RSAPrivateKey.
constexpr std::array<const char*, 8> rsaNumbers{
    OSSL_PKEY_PARAM_RSA_N,         OSSL_PKEY_PARAM_RSA_E,           OSSL_PKEY_PARAM_RSA_D,
    OSSL_PKEY_PARAM_RSA_FACTOR1,   OSSL_PKEY_PARAM_RSA_FACTOR2,     OSSL_PKEY_PARAM_RSA_EXPONENT1,
    OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1};
constexpr int ed25519Size = 32;

Key keyOf(const char* type, OSSL_PARAM_BLD* builder)
{
    const Owner<OSSL_PARAM> parameters(OSSL_PARAM_BLD_to_param(builder));
    const std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter> context(
        EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr));
    EVP_PKEY* key = nullptr;
    if (!parameters || !context || EVP_PKEY_fromdata_init(context.get()) != 1
        || EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_KEYPAIR, parameters.get()) != 1)
        return nullptr;
    return Key(key);
}

/** The public point for \a secret; empty for a number that is none. */
QByteArray publicPoint(const char* curve, const BIGNUM* secret)
{
    const Owner<EC_GROUP> group(EC_GROUP_new_by_curve_name(OBJ_sn2nid(curve)));
    const Owner<EC_POINT> point(group ? EC_POINT_new(group.get()) : nullptr);
    const Owner<BN_CTX> context(BN_CTX_secure_new());
    if (!point || !context || BN_is_zero(secret)
        || BN_cmp(secret, EC_GROUP_get0_order(group.get())) >= 0
        || !EC_POINT_mul(group.get(), point.get(), secret, nullptr, nullptr, context.get()))
        return QByteArray();
    unsigned char bytes[256];
    const std::size_t size
        = EC_POINT_point2oct(group.get(), point.get(), POINT_CONVERSION_UNCOMPRESSED, bytes,
                             sizeof bytes, context.get());
    return QByteArray(reinterpret_cast<const char*>(bytes), int(size));
}

/** The octet string in DER around an Ed25519 key. */
Key ed25519KeyFrom(const unsigned char* der, long size)
{
    constexpr int headSize = 2;
    if (size != headSize + ed25519Size || der[0] != V_ASN1_OCTET_STRING || der[1] != ed25519Size)
        return nullptr;
    return Key(
        EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, der + headSize, ed25519Size));
}

/** With a value of the key in memory that is wiped; null when it can't be had. */
BigNumber numberOf(const EVP_PKEY* key, const char* name)
{
    BIGNUM* number = BN_secure_new();
    const bool found = number && EVP_PKEY_get_bn_param(key, name, &number);
    BigNumber owner(number);
    return found ? std::move(owner) : nullptr;
}

/** The public point with tag [1], as ECPrivateKey holds it. */
QByteArray taggedPoint(const QByteArray& point)
{
    const auto withLength = [](const QByteArray& contents) {
        const int size = int(contents.size());
        return (size < 0x80 ? QByteArray() : QByteArray(1, char(0x81))) + char(size) + contents;
    };
    const QByteArray bits = char(V_ASN1_BIT_STRING) + withLength(QByteArray(1, '\0') + point);
    return char(0xa1) + withLength(bits);
}

/** Gives the contents of a PKCS#8 structure to \a info, which wipes and frees them in any case. */
void setContents(PKCS8_PRIV_KEY_INFO* info, int type, int parameterType, void* parameter,
                 unsigned char* der, int size)
{
    if (PKCS8_pkey_set0(info, OBJ_nid2obj(type), 0, parameterType, parameter, der, size))
        return;
    OPENSSL_clear_free(der, std::size_t(size));
    fail("OpenSsl error");
}

void setRsa(PKCS8_PRIV_KEY_INFO* info, const EVP_PKEY* key)
{
    SecretSequence sequence;
    const BigNumber version(BN_new());
    sequence.addNumber(version.get());
    for (const char* const name : rsaNumbers)
        sequence.addNumber(numberOf(key, name).get());
    int size = 0;
    unsigned char* const der = sequence.encode(size);
    setContents(info, NID_rsaEncryption, V_ASN1_NULL, nullptr, der, size);
}

void setEc(PKCS8_PRIV_KEY_INFO* info, const EVP_PKEY* key)
{
    char curve[64];
    require(EVP_PKEY_get_utf8_string_param(key, OSSL_PKEY_PARAM_GROUP_NAME, curve, sizeof curve,
                                           nullptr));
    const BigNumber secret = numberOf(key, OSSL_PKEY_PARAM_PRIV_KEY);
    const Owner<EC_GROUP> group(EC_GROUP_new_by_curve_name(OBJ_sn2nid(curve)));
    const BigNumber version(BN_new());
    require(secret && group && version && BN_one(version.get()));
    SecretSequence sequence;
    sequence.addNumber(version.get());
    sequence.addOctets(secret.get(), (EC_GROUP_order_bits(group.get()) + 7) / 8);
    const QByteArray point = publicPoint(curve, secret.get());
    require(!point.isEmpty());
    sequence.addEncoded(taggedPoint(point));
    int size = 0;
    unsigned char* const der = sequence.encode(size);
    setContents(info, NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, OBJ_nid2obj(OBJ_sn2nid(curve)), der,
                size);
}

void setEd25519(PKCS8_PRIV_KEY_INFO* info, const EVP_PKEY* key)
{
    constexpr int size = 2 + ed25519Size;
    auto* const der = static_cast<unsigned char*>(OPENSSL_malloc(size));
    std::size_t secretSize = 0;
    require(der);
    der[0] = V_ASN1_OCTET_STRING;
    der[1] = ed25519Size;
    // EVP_PKEY_get_raw_private_key() leaves a copy behind.
    if (!EVP_PKEY_get_octet_string_param(key, OSSL_PKEY_PARAM_PRIV_KEY, der + 2, ed25519Size,
                                         &secretSize)) {
        OPENSSL_free(der);
        fail("OpenSsl error");
    }
    setContents(info, NID_ED25519, V_ASN1_UNDEF, nullptr, der, size);
}

} // namespace

Key rsaKeyFrom(const unsigned char* der, long size)
{
    const SecretSequence sequence(der, size);
    const Owner<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new());
    std::array<BigNumber, rsaNumbers.size()> numbers;
    if (sequence.size() != int(numbers.size()) + 1) // more of them belong to more than two primes
        return nullptr;
    for (std::size_t index = 0; index < numbers.size(); ++index) {
        numbers[index] = sequence.number(int(index) + 1); // behind the version
        if (!numbers[index] || !builder
            || !OSSL_PARAM_BLD_push_BN(builder.get(), rsaNumbers[index], numbers[index].get()))
            return nullptr;
    }
    return keyOf("RSA", builder.get());
}

Key ecKeyFrom(const unsigned char* der, long size, const char* curve)
{
    const SecretSequence sequence(der, size);
    const BigNumber secret = sequence.octets(1);
    if (!curve)
        curve = sequence.curve();
    const QByteArray point = secret && curve ? publicPoint(curve, secret.get()) : QByteArray();
    const Owner<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new());
    if (point.isEmpty() || !builder
        || !OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, curve, 0)
        || !OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_PRIV_KEY, secret.get())
        || !OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY,
                                             point.constData(), std::size_t(point.size())))
        return nullptr;
    return keyOf("EC", builder.get());
}

Key keyFrom(const PKCS8_PRIV_KEY_INFO* info)
{
    const ASN1_OBJECT* type = nullptr;
    const unsigned char* der = nullptr;
    int size = 0;
    const X509_ALGOR* algorithm = nullptr;
    if (!info || !PKCS8_pkey_get0(&type, &der, &size, &algorithm, info))
        return nullptr;
    const void* parameter = nullptr;
    int parameterType = 0;
    X509_ALGOR_get0(nullptr, &parameterType, &parameter, algorithm);
    switch (OBJ_obj2nid(type)) {
    case NID_rsaEncryption:
        return rsaKeyFrom(der, size);
    case NID_X9_62_id_ecPublicKey:
        return parameterType == V_ASN1_OBJECT ? ecKeyFrom(
                   der, size, OBJ_nid2sn(OBJ_obj2nid(static_cast<const ASN1_OBJECT*>(parameter))))
                                              : nullptr;
    case NID_ED25519:
        return ed25519KeyFrom(der, size);
    default:
        return nullptr;
    }
}

PrivateKeyInfo keyInfoOf(const EVP_PKEY* key)
{
    PrivateKeyInfo info(PKCS8_PRIV_KEY_INFO_new());
    require(info != nullptr);
    if (EVP_PKEY_is_a(key, "RSA"))
        setRsa(info.get(), key);
    else if (EVP_PKEY_is_a(key, "EC"))
        setEc(info.get(), key);
    else
        setEd25519(info.get(), key);
    return info;
}

} // namespace kel
