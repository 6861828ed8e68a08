#include <Quarn/platform/LargePages_p.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace kel {

void preferLargePages(const void* memory, std::size_t size) noexcept
{
    // All pages that the memory touches: a mapping of which a part is treated differently is two
    // mappings, which realloc() could grow only by copying.
    const auto page = std::uintptr_t(sysconf(_SC_PAGESIZE));
    const std::uintptr_t offset = std::uintptr_t(memory) % page;
    char* const start = static_cast<char*>(const_cast<void*>(memory)) - offset;
    const std::size_t length = (offset + size + page - 1) / page * page;
    (void)madvise(start, length, MADV_HUGEPAGE);
}

} // namespace kel
