#include <Quarn/platform/PageMemory_p.h>

#include <windows.h>

namespace kel {

PageMemory::PageMemory(std::size_t size) noexcept
    : m_bytes(static_cast<char*>(
        ::VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))),
      m_size(size)
{ }

PageMemory::~PageMemory()
{
    if (m_bytes)
        ::VirtualFree(m_bytes, 0, MEM_RELEASE);
}

} // namespace kel
