#include <Quarn/interfaces/IRandomAccessIO.h>

namespace kel {

IRandomAccessIO::~IRandomAccessIO() = default;

} // namespace kel
