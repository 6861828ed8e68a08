#include <Quarn/signature/SecretSequence_p.h>

#include <openssl/objects.h>

#include <vector>

namespace kel {
namespace {

void wipe(ASN1_TYPE* item)
{
    if (item->type != V_ASN1_BOOLEAN && item->type != V_ASN1_NULL && item->type != V_ASN1_OBJECT) {
        ASN1_STRING* const value = item->value.asn1_string;
        OPENSSL_cleanse(const_cast<unsigned char*>(ASN1_STRING_get0_data(value)),
                        std::size_t(ASN1_STRING_length(value)));
    }
    ASN1_TYPE_free(item);
}

} // namespace

SecretSequence::SecretSequence() : m_items(sk_ASN1_TYPE_new_null())
{
    require(m_items);
}

SecretSequence::SecretSequence(const unsigned char* bytes, long size)
    : m_items(d2i_ASN1_SEQUENCE_ANY(nullptr, &bytes, size))
{ }

SecretSequence::~SecretSequence()
{
    sk_ASN1_TYPE_pop_free(m_items, wipe);
}

int SecretSequence::size() const
{
    return std::max(sk_ASN1_TYPE_num(m_items), 0);
}

BigNumber SecretSequence::number(int index) const
{
    const ASN1_STRING* const value = item(index, V_ASN1_INTEGER);
    if (!value)
        return nullptr;
    BigNumber number(BN_secure_new());
    return number && ASN1_INTEGER_to_BN(value, number.get()) ? std::move(number) : nullptr;
}

BigNumber SecretSequence::octets(int index) const
{
    const ASN1_STRING* const value = item(index, V_ASN1_OCTET_STRING);
    if (!value)
        return nullptr;
    BigNumber number(BN_secure_new());
    return number
                   && BN_bin2bn(ASN1_STRING_get0_data(value), ASN1_STRING_length(value),
                                number.get())
               ? std::move(number)
               : nullptr;
}

const char* SecretSequence::curve() const
{
    constexpr unsigned char tag = 0xa0;
    for (int index = 0; index < size(); ++index) {
        const ASN1_STRING* const value = item(index, V_ASN1_OTHER);
        const unsigned char* position = value ? ASN1_STRING_get0_data(value) : nullptr;
        const int left = value ? ASN1_STRING_length(value) - 2 : 0;
        if (left <= 0 || position[0] != tag || position[1] != left)
            continue;
        position += 2;
        ASN1_OBJECT* const object = d2i_ASN1_OBJECT(nullptr, &position, left);
        const char* const name = object ? OBJ_nid2sn(OBJ_obj2nid(object)) : nullptr;
        ASN1_OBJECT_free(object);
        return name;
    }
    return nullptr;
}

void SecretSequence::addNumber(const BIGNUM* number)
{
    ASN1_INTEGER* const value = number ? BN_to_ASN1_INTEGER(number, nullptr) : nullptr;
    add(V_ASN1_INTEGER, value);
}

void SecretSequence::addOctets(const BIGNUM* number, int size)
{
    ASN1_OCTET_STRING* const value = ASN1_OCTET_STRING_new();
    // Filled in place: a copy would have to be wiped, too.
    const bool filled
        = value && ASN1_STRING_set(value, nullptr, size)
          && BN_bn2binpad(number, const_cast<unsigned char*>(ASN1_STRING_get0_data(value)), size)
                 == size;
    if (!filled)
        ASN1_OCTET_STRING_free(value);
    add(V_ASN1_OCTET_STRING, filled ? value : nullptr);
}

void SecretSequence::addEncoded(const QByteArray& der)
{
    ASN1_STRING* const value = ASN1_STRING_type_new(V_ASN1_OTHER);
    const bool filled = value && ASN1_STRING_set(value, der.constData(), int(der.size()));
    if (!filled)
        ASN1_STRING_free(value);
    add(V_ASN1_OTHER, filled ? value : nullptr);
}

unsigned char* SecretSequence::encode(int& size) const
{
    unsigned char* der = nullptr;
    size = i2d_ASN1_SEQUENCE_ANY(m_items, &der);
    require(size > 0);
    return der;
}

const ASN1_STRING* SecretSequence::item(int index, int type) const
{
    const ASN1_TYPE* const item = index < size() ? sk_ASN1_TYPE_value(m_items, index) : nullptr;
    return item && item->type == type ? item->value.asn1_string : nullptr;
}

/** Takes over \a value; null stands for one that could not be made. */
void SecretSequence::add(int type, ASN1_STRING* value)
{
    ASN1_TYPE* const item = value ? ASN1_TYPE_new() : nullptr;
    if (item)
        ASN1_TYPE_set(item, type, value);
    else
        ASN1_STRING_clear_free(value);
    if (item && sk_ASN1_TYPE_push(m_items, item))
        return;
    if (item)
        wipe(item);
    fail("OpenSsl error");
}

} // namespace kel
