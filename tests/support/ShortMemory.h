#ifndef QUARN_TESTS_SUPPORT_SHORTMEMORY_H
#define QUARN_TESTS_SUPPORT_SHORTMEMORY_H

#include <cstdlib>
#include <new>

/**
 * While it lives, this thread gets no memory from new, of the library and of Qt too; the contents of
 * arrays come from elsewhere. For one source of a program.
 */
class ShortMemory
{
public:
    ShortMemory() { lasts = true; }
    ShortMemory(const ShortMemory&) = delete;
    ShortMemory& operator=(const ShortMemory&) = delete;
    ~ShortMemory() { lasts = false; }

    static inline thread_local bool lasts = false;
};

void* operator new(std::size_t size)
{
    void* const memory = ShortMemory::lasts ? nullptr : std::malloc(size);
    return memory ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

#endif
