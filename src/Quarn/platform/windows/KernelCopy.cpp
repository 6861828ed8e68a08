#include <Quarn/platform/KernelCopy_p.h>

namespace kel {

/** The system copies whole files by their names only. */
qint64 kernelCopy(int, qint64, int, qint64, qint64)
{
    return 0;
}

} // namespace kel
