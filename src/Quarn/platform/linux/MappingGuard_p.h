#ifndef QUARN_PLATFORM_LINUX_MAPPINGGUARD_P_H
#define QUARN_PLATFORM_LINUX_MAPPINGGUARD_P_H

#include <cstddef>

namespace kel {

/**
 * \brief Lets a program survive that the bytes behind a mapping of a file are gone.
 *
 * The system sends SIGBUS to the thread that touches a page which the file no longer has or which
 * can't be read. The first guard installs a handler for that, which stays until the library is
 * unloaded: from that page on the mapping becomes zeros, and the thread goes on. A SIGBUS that no guard
 * is for goes to the handler that was there before.
 *
 * \par Threads
 * Guards may come and go in any thread.
 */
class MappingGuard
{
public:
    /** Guards nothing yet. */
    MappingGuard() = default;
    MappingGuard(const MappingGuard&) = delete;
    MappingGuard& operator=(const MappingGuard&) = delete;
    ~MappingGuard();

    /** Guards the mapping of \a size bytes at \a begin from now on. Once; throws std::bad_alloc. */
    void protect(const void* begin, std::size_t size);
    /** To be called before the mapping ends. */
    void release();

    /** Whether there are zeros in place of the file's bytes. Any thread. */
    bool hasBroken() const;

    /** For the handler: whether \a address was in a guarded mapping, which is zeros from there on now. */
    static bool breakAt(const void* address, std::size_t pageSize);

private:
    struct Range;
    Range* m_range = nullptr;
};

} // namespace kel
#endif
