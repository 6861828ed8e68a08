#include <Quarn/access/SecretPages_p.h>

#include <Quarn/platform/SecretMemory_p.h>

#include <new>

namespace kel {
namespace {

class SecretPages : public std::pmr::memory_resource
{
private:
    void* do_allocate(std::size_t size, std::size_t) override
    {
        void* const memory = allocateSecretMemory(size);
        if (!memory)
            throw std::bad_alloc();
        return memory;
    }

    void do_deallocate(void* memory, std::size_t size, std::size_t) override
    {
        freeSecretMemory(memory, size);
    }

    bool do_is_equal(const memory_resource& other) const noexcept override
    {
        return this == &other;
    }
};

} // namespace

std::pmr::memory_resource& secretPages()
{
    static auto* const pages = new SecretPages; // for static objects that go last, never destroyed
    return *pages;
}

} // namespace kel
