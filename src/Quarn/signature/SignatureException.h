#ifndef QUARN_SIGNATURE_SIGNATUREEXCEPTION_H
#define QUARN_SIGNATURE_SIGNATUREEXCEPTION_H

#include <Quarn/companion/IOException.h>

namespace kel {

/**
 * \brief A failure of the cryptography: no usable key, signature or digest.
 *
 * \par Threads
 * Once thrown it may be read in any thread.
 */
class QUARN_EXPORT SignatureException : public IOException
{
public:
    /** Keeps a copy of \a cause; null for none. */
    explicit SignatureException(const QString& message = QString(),
                                const ExceptionQt* cause = nullptr);
    SignatureException(const SignatureException& other);
    SignatureException& operator=(const SignatureException& other);
    ~SignatureException() override;

protected:
    ExceptionQt* clone() const override;
};

} // namespace kel
#endif
