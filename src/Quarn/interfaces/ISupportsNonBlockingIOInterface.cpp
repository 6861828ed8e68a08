#include <Quarn/interfaces/ISupportsNonBlockingIOInterface.h>

namespace kel {

ISupportsNonBlockingIOInterface::~ISupportsNonBlockingIOInterface() = default;

} // namespace kel
