#ifndef QUARN_SIGNATURE_SECRETSEQUENCE_P_H
#define QUARN_SIGNATURE_SECRETSEQUENCE_P_H

#include <Quarn/signature/openSsl_p.h>

#include <openssl/asn1.h>

namespace kel {

/** \brief An ASN.1 sequence as private keys are stored in; its items are wiped when it goes. */
class SecretSequence
{
public:
    SecretSequence();
    /** From DER, all of \a bytes; without items when that is no sequence. */
    SecretSequence(const unsigned char* bytes, long size);
    SecretSequence(const SecretSequence&) = delete;
    SecretSequence& operator=(const SecretSequence&) = delete;
    ~SecretSequence();

    int size() const;

    /** The number at \a index, in memory that is wiped, too; null when there is none. */
    BigNumber number(int index) const;
    /** The contents of the octet string at \a index as a number; null when there is none. */
    BigNumber octets(int index) const;
    /** The name of the curve that an item with tag [0] holds; null when there is none. */
    const char* curve() const;

    void addNumber(const BIGNUM* number);
    /** \a number with zeros in front, as \a size octets. */
    void addOctets(const BIGNUM* number, int size);
    /** An item with a tag and a length in DER already. */
    void addEncoded(const QByteArray& der);

    /** The DER, allocated by OpenSSL, for the caller to free; \a size becomes its size. */
    unsigned char* encode(int& size) const;

private:
    const ASN1_STRING* item(int index, int type) const;
    void add(int type, ASN1_STRING* value);

    STACK_OF(ASN1_TYPE) * m_items;
};

} // namespace kel
#endif
