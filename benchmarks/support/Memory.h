#ifndef QUARN_BENCHMARKS_SUPPORT_MEMORY_H
#define QUARN_BENCHMARKS_SUPPORT_MEMORY_H

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace bench {

/**
 * Memory at a chosen place within a page, filled and so present. A copy between places that are
 * alike but for their pages, or to one that no cache line begins at, is slow on some processors; it
 * would be chance who meets that.
 */
class Memory
{
public:
    /** \a place bytes behind the beginning of a page. */
    explicit Memory(std::size_t size, std::size_t place = 0);

    char* data() const { return m_data; }

private:
    struct Free
    {
        void operator()(char* bytes) const { std::free(bytes); }
    };

    const std::unique_ptr<char, Free> m_pages;
    char* const m_data;
};

} // namespace bench
#endif
