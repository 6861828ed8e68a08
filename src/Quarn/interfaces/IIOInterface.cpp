#include <Quarn/interfaces/IIOInterface.h>

namespace kel {

IIOInterface::~IIOInterface() = default;

unsigned int IIOInterface::getVerificationFailures() const
{
    return 0;
}

} // namespace kel
