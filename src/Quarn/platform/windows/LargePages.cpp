#include <Quarn/platform/LargePages_p.h>

namespace kel {

// Windows gives large pages only to processes with a privilege, and never pages them out.
void preferLargePages(const void*, std::size_t) noexcept { }

} // namespace kel
