#include <Quarn/interfaces/InterfaceStub.h>

namespace kel {

InterfaceStub::~InterfaceStub() = default;

} // namespace kel
