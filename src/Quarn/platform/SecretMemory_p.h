#ifndef QUARN_PLATFORM_SECRETMEMORY_P_H
#define QUARN_PLATFORM_SECRETMEMORY_P_H

#include <cstddef>

namespace kel {

/**
 * Memory for \a size bytes, filled with zeros, in pages that hold nothing else: kept from being
 * swapped out where the process's limit allows, and left out of core dumps where the system can.
 *
 * \return null when memory is short
 */
void* allocateSecretMemory(std::size_t size) noexcept;

/** Gives back what allocateSecretMemory() answered for \a size, wiped. */
void freeSecretMemory(void* memory, std::size_t size) noexcept;

} // namespace kel
#endif
