#include <Quarn/signature/PemBlocks_p.h>
#include <Quarn/signature/Wiped_p.h>
#include <Quarn/signature/privateKeys_p.h>

#include <openssl/pem.h>

#include <cstring>

// Private keys as PEM text.

namespace kel {
namespace {

// What a passphrase may cost. A damaged count would keep the caller waiting for hours.
constexpr quint64 mostIterations = 5000000;
constexpr quint64 mostScryptWork = quint64(1) << 21;

struct Deleter
{
    void operator()(PBE2PARAM* parameters) const { PBE2PARAM_free(parameters); }
    void operator()(PBKDF2PARAM* parameters) const { PBKDF2PARAM_free(parameters); }
    void operator()(PBEPARAM* parameters) const { PBEPARAM_free(parameters); }
    void operator()(SCRYPT_PARAMS* parameters) const { SCRYPT_PARAMS_free(parameters); }
};

/** The parameters of \a algorithm, which \a type describes; null when they are something else. */
template <typename Parameters>
std::unique_ptr<Parameters, Deleter> unpacked(const X509_ALGOR* algorithm, const ASN1_ITEM* type)
{
    return std::unique_ptr<Parameters, Deleter>(static_cast<Parameters*>(
        ASN1_TYPE_unpack_sequence(type, algorithm ? algorithm->parameter : nullptr)));
}

/** A count, or more than there may be of anything. */
quint64 valueOf(const ASN1_INTEGER* number)
{
    uint64_t value = 0;
    return number && ASN1_INTEGER_get_uint64(&value, number) && value <= UINT32_MAX ? value
                                                                                    : UINT32_MAX;
}

bool affordableScrypt(const X509_ALGOR* function)
{
    const auto scrypt = unpacked<SCRYPT_PARAMS>(function, ASN1_ITEM_rptr(SCRYPT_PARAMS));
    if (!scrypt)
        return false;
    // The first product can't overflow, nor can the second when the first is small enough.
    const quint64 memory = valueOf(scrypt->costParameter) * valueOf(scrypt->blockSize);
    return memory <= mostScryptWork
           && memory * valueOf(scrypt->parallelizationParameter) <= mostScryptWork;
}

/** Whether it takes a reasonable time to make the key for \a encryption from a passphrase. */
bool affordable(const X509_ALGOR* encryption)
{
    if (OBJ_obj2nid(encryption->algorithm) != NID_pbes2) {
        const auto old = unpacked<PBEPARAM>(encryption, ASN1_ITEM_rptr(PBEPARAM));
        return old && valueOf(old->iter) <= mostIterations;
    }
    const auto scheme = unpacked<PBE2PARAM>(encryption, ASN1_ITEM_rptr(PBE2PARAM));
    if (!scheme)
        return false;
    if (OBJ_obj2nid(scheme->keyfunc->algorithm) == NID_id_scrypt)
        return affordableScrypt(scheme->keyfunc);
    const auto derivation = unpacked<PBKDF2PARAM>(scheme->keyfunc, ASN1_ITEM_rptr(PBKDF2PARAM));
    return derivation && valueOf(derivation->iter) <= mostIterations;
}

Key decryptedKey(const unsigned char* der, long size, const QByteArray& passphrase)
{
    const EncryptedKeyInfo encrypted(d2i_X509_SIG(nullptr, &der, size));
    if (!encrypted)
        return nullptr;
    const X509_ALGOR* encryption = nullptr;
    X509_SIG_get0(encrypted.get(), &encryption, nullptr);
    if (!affordable(encryption))
        return nullptr;
    const PrivateKeyInfo info(
        PKCS8_decrypt(encrypted.get(), passphrase.constData(), int(passphrase.size())));
    return keyFrom(info.get());
}

/** For PEM_do_header(): copies the passphrase instead of asking for one. */
int givePassphrase(char* buffer, int size, int, void* data)
{
    const auto& passphrase = *static_cast<const QByteArray*>(data);
    if (passphrase.isEmpty() || passphrase.size() > size)
        return -1;
    std::memcpy(buffer, passphrase.constData(), std::size_t(passphrase.size()));
    return int(passphrase.size());
}

/** Decrypts a traditional key in place; \a der is wiped by the caller. */
bool decryptInPlace(QByteArray header, QByteArray& der, long& size, QByteArray passphrase)
{
    EVP_CIPHER_INFO cipher;
    return PEM_get_EVP_CIPHER_INFO(header.data(), &cipher)
           && PEM_do_header(&cipher, reinterpret_cast<unsigned char*>(der.data()), &size,
                            givePassphrase, &passphrase);
}

/** The key of a block; null when the block holds none. */
Key keyIn(const PemBlocks& block, const QByteArray& passphrase)
{
    QByteArray der = block.contents();
    const Wiped wiped(der);
    long size = long(der.size());
    if (!block.header().isEmpty() && !decryptInPlace(block.header(), der, size, passphrase))
        return nullptr;
    const unsigned char* position = bytesOf(der);
    if (block.label() == "RSA PRIVATE KEY")
        return rsaKeyFrom(position, size);
    if (block.label() == "EC PRIVATE KEY")
        return ecKeyFrom(position, size, nullptr);
    if (block.label() == "ENCRYPTED PRIVATE KEY")
        return decryptedKey(position, size, passphrase);
    const PrivateKeyInfo info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &position, size));
    return keyFrom(info.get());
}

} // namespace

Key privateKeyIn(const QByteArray& pem, const QByteArray& passphrase)
{
    const ErrorMark mark;
    Key key = fromFirstBlock(
        pem, [](const PemBlocks& block) { return block.label().endsWith("PRIVATE KEY"); },
        [&](const PemBlocks& block) { return keyIn(block, passphrase); });
    if (!key)
        fail("Invalid private key");
    return key;
}

QByteArray encryptedPem(const EVP_PKEY* key, const QByteArray& passphrase)
{
    // The most memory that OpenSSL grants scrypt without being asked, which readers don't do.
    constexpr uint64_t cost = 16384, blockSize = 8, parallel = 5;
    constexpr int saltSize = 16;
    const ErrorMark mark;
    const PrivateKeyInfo info = keyInfoOf(key);
    X509_ALGOR* const encryption = PKCS5_pbe2_set_scrypt(EVP_aes_256_cbc(), nullptr, saltSize,
                                                         nullptr, cost, blockSize, parallel);
    require(encryption);
    const EncryptedKeyInfo encrypted(
        PKCS8_set0_pbe(passphrase.constData(), int(passphrase.size()), info.get(), encryption));
    if (!encrypted)
        X509_ALGOR_free(encryption);
    const Bio bio(BIO_new(BIO_s_mem()));
    require(encrypted && bio && PEM_write_bio_PKCS8(bio.get(), encrypted.get()));
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return QByteArray(text, int(size));
}

} // namespace kel
