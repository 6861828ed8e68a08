#include <Quarn/signature/pemText_p.h>

#include <Quarn/companion/narrow_p.h>
#include <Quarn/signature/ErrorMark_p.h>
#include <Quarn/signature/ampleMemory_p.h>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstring>
#include <new>
#include <utility>

namespace kel {
namespace {

struct Deleter
{
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(unsigned char* bytes) const { OPENSSL_free(bytes); }
};

using Bio = std::unique_ptr<BIO, Deleter>;
using Bytes = std::unique_ptr<unsigned char, Deleter>;
using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;
using Certificates = QList<Certificate>;

/** OpenSSL's default callback would ask on the terminal. */
int refusePassword(char*, int, int, void*)
{
    return -1;
}

/** PEM text that is read block by block. */
class PemText
{
public:
    PemText(const char* text, int length)
        : m_position(text), m_left(length < 0 ? narrow(qint64(std::strlen(text))) : length)
    { }

    bool atEnd() const { return m_left == 0; }

    /**
     * What \a read makes of the text from here on; null when the next block is of no use. OpenSSL
     * doesn't tell a damaged block from a lack of memory, so a failure counts when there is ample
     * memory and the second attempt fails, too.
     *
     * \throws std::bad_alloc
     */
    template <typename Read>
    auto next(Read read)
    {
        ErrorMark mark; // the queue is short: many damaged blocks would push others out
        Bio bio = bioFromHere();
        auto result = read(bio.get());
        if (!result) {
            if (!hasAmpleMemory())
                throw std::bad_alloc();
            mark.renew();
            bio = bioFromHere();
            result = read(bio.get());
        }
        const int left = int(BIO_ctrl_pending(bio.get()));
        if (!result && left == m_left)
            throw std::bad_alloc(); // a damaged block would have been read
        m_position += m_left - left;
        m_left = left;
        return result;
    }

private:
    Bio bioFromHere() const
    {
        Bio bio(BIO_new_mem_buf(m_position, m_left));
        if (!bio)
            throw std::bad_alloc();
        return bio;
    }

    const char* m_position;
    int m_left;
};

/** The next block PUBLIC KEY, if there is one that is usable. */
Key readPublicKey(BIO* bio)
{
    unsigned char* bytes = nullptr;
    long size = 0;
    if (!PEM_bytes_read_bio(&bytes, &size, nullptr, PEM_STRING_PUBLIC, bio, refusePassword,
                            nullptr))
        return nullptr;
    const Bytes owner(bytes);
    const unsigned char* position = bytes;
    return Key(d2i_PUBKEY(nullptr, &position, size), EVP_PKEY_free);
}

Certificate readCertificate(BIO* bio)
{
    return Certificate(PEM_read_bio_X509(bio, nullptr, refusePassword, nullptr), X509_free);
}

} // namespace

// PEM_read_bio_PUBKEY() of OpenSSL 3 looks past damaged blocks as well, but asks for the passwords of
// private keys, takes blocks of other labels, and gives up when it finds an entry of somebody else
// in the error queue.
Key publicKeyIn(const char* pem, int length)
{
    PemText text(pem, length);
    Key key;
    while (!key && !text.atEnd())
        key = text.next(readPublicKey);
    return key;
}

Certificates certificatesIn(const char* pem, int length)
{
    PemText text(pem, length);
    Certificates certificates;
    while (!text.atEnd()) {
        Certificate next = text.next(readCertificate);
        if (!next)
            break;
        certificates.append(std::move(next));
    }
    return certificates;
}

} // namespace kel
