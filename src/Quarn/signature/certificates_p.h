#ifndef QUARN_SIGNATURE_CERTIFICATES_P_H
#define QUARN_SIGNATURE_CERTIFICATES_P_H

#include <Quarn/signature/openSsl_p.h>

namespace kel {

/** The certificate that \a der is, all of it; null when it is none. */
inline Certificate certificateFrom(const QByteArray& der)
{
    ErrorMark mark;
    const unsigned char* position = bytesOf(der);
    Certificate certificate(d2i_X509(nullptr, &position, long(der.size())));
    // Without memory OpenSSL makes certificates without a key, as of kinds that it doesn't know.
    if (!certificate || !X509_get0_pubkey(certificate.get())) {
        requireAmpleMemory();
        mark.renew();
        position = bytesOf(der);
        certificate.reset(d2i_X509(nullptr, &position, long(der.size())));
    }
    return position == bytesOf(der) + der.size() ? std::move(certificate) : nullptr;
}

} // namespace kel
#endif
