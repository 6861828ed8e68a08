#ifndef QUARN_PLATFORM_LARGEPAGES_P_H
#define QUARN_PLATFORM_LARGEPAGES_P_H

#include <cstddef>

namespace kel {

/**
 * Asks the system to back \a size bytes at \a memory by large pages from now on, where it has them:
 * memory of which nothing is used yet then comes with far fewer faults. A hint, never a failure.
 */
void preferLargePages(const void* memory, std::size_t size) noexcept;

} // namespace kel
#endif
