#ifndef QUARN_SIGNATURE_WIPED_P_H
#define QUARN_SIGNATURE_WIPED_P_H

#include <QByteArray>

#include <openssl/crypto.h>

namespace kel {

/** Overwrites bytes when it goes, where they have no other owner. */
class Wiped
{
public:
    explicit Wiped(QByteArray& bytes) : m_bytes(bytes) { }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;
    ~Wiped()
    {
        if (m_bytes.isDetached())
            OPENSSL_cleanse(m_bytes.data(), std::size_t(m_bytes.capacity()));
        m_bytes.clear();
    }

private:
    QByteArray& m_bytes;
};

} // namespace kel
#endif
