#include <Quarn/platform/SecretMemory_p.h>

#include <openssl/crypto.h>

#include <sys/mman.h>

namespace kel {

void* allocateSecretMemory(std::size_t size) noexcept
{
    void* const memory
        = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return nullptr;
    // Both may fail, at a limit or on an old kernel; the memory serves all the same. In this order
    // it becomes one mapping with its neighbours: locking touches the pages, which ends that.
    (void)madvise(memory, size, MADV_DONTDUMP);
    (void)mlock(memory, size);
    return memory;
}

void freeSecretMemory(void* memory, std::size_t size) noexcept
{
    OPENSSL_cleanse(memory, size);
    munmap(memory, size);
}

} // namespace kel
