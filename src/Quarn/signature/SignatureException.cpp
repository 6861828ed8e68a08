#include <Quarn/signature/SignatureException.h>

namespace kel {

SignatureException::SignatureException(const QString& message, const ExceptionQt* cause)
    : IOException(message, cause)
{ }

SignatureException::SignatureException(const SignatureException& other) = default;

SignatureException& SignatureException::operator=(const SignatureException& other) = default;

SignatureException::~SignatureException() = default;

ExceptionQt* SignatureException::clone() const
{
    return new SignatureException(*this);
}

} // namespace kel
