#ifndef QUARN_PLATFORM_PAGEMEMORY_P_H
#define QUARN_PLATFORM_PAGEMEMORY_P_H

#include <cstddef>
#include <utility>

namespace kel {

/**
 * \brief Memory straight from the system, which gets it back at once when the object goes.
 *
 * The system supplies pages as they are first touched. From the size of a large page on the memory
 * begins at such a page, where the system has them.
 */
class PageMemory
{
public:
    PageMemory() = default;
    /** \a size bytes; null if the system refuses them. */
    explicit PageMemory(std::size_t size) noexcept;
    PageMemory(PageMemory&& other) noexcept
        : m_bytes(std::exchange(other.m_bytes, nullptr)), m_size(other.m_size)
    { }
    PageMemory& operator=(PageMemory&& other) noexcept
    {
        std::swap(m_bytes, other.m_bytes);
        std::swap(m_size, other.m_size);
        return *this;
    }
    ~PageMemory();

    char* bytes() const { return m_bytes; }

private:
    char* m_bytes = nullptr;
    std::size_t m_size = 0;
};

} // namespace kel
#endif
