#include <Quarn/platform/PageMemory_p.h>

#include <sys/mman.h>

#include <cstdint>

namespace kel {
namespace {

constexpr std::size_t largePage = std::size_t(2) << 20;

/** A mapping of \a size bytes that begins at a large page; null if refused. */
char* mapped(std::size_t size)
{
    const std::size_t spare = size >= largePage ? largePage : 0;
    void* const mapping
        = ::mmap(nullptr, size + spare, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED)
        return nullptr;
    if (!spare)
        return static_cast<char*>(mapping);
    const std::size_t before = (largePage - std::uintptr_t(mapping) % largePage) % largePage;
    char* const start = static_cast<char*>(mapping) + before;
    ::munmap(mapping, before); // refused, and no harm, where there is nothing to unmap
    ::munmap(start + size, spare - before);
    return start;
}

} // namespace

PageMemory::PageMemory(std::size_t size) noexcept : m_bytes(mapped(size)), m_size(size) { }

PageMemory::~PageMemory()
{
    if (m_bytes)
        ::munmap(m_bytes, m_size);
}

} // namespace kel
