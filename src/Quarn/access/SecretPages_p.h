#ifndef QUARN_ACCESS_SECRETPAGES_P_H
#define QUARN_ACCESS_SECRETPAGES_P_H

#include <memory_resource>

namespace kel {

/**
 * The system's secret memory, from which every allocation takes whole pages: many small texts go
 * into a pool over it. Any thread may use it, at any time until the process ends.
 */
std::pmr::memory_resource& secretPages();

} // namespace kel
#endif
