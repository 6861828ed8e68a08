#include <Quarn/platform/SecretMemory_p.h>

#include <openssl/crypto.h>

#include <qt_windows.h>

namespace kel {

void* allocateSecretMemory(std::size_t size) noexcept
{
    void* const memory = VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (memory)
        VirtualLock(memory, size); // may fail at a limit; the memory serves all the same
    return memory;
}

void freeSecretMemory(void* memory, std::size_t size) noexcept
{
    OPENSSL_cleanse(memory, size);
    VirtualFree(memory, 0, MEM_RELEASE);
}

} // namespace kel
