#ifndef QUARN_TESTS_SUPPORT_FAILINGREADS_H
#define QUARN_TESTS_SUPPORT_FAILINGREADS_H

#include "support/posix.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>

#if QUARN_HAS_POSIX
#include <sys/syscall.h>

/**
 * While it lives, each read() of a file gives 100 bytes at most, and after so many of them one
 * fails, or all further ones do. For one source of a program, as it defines read().
 */
class FailingReads
{
public:
    FailingReads(int reads, bool once)
    {
        left = reads;
        forGood = !once;
        active = true;
    }
    FailingReads(const FailingReads&) = delete;
    FailingReads& operator=(const FailingReads&) = delete;
    ~FailingReads() { active = false; }

    bool happened() const { return left < 0; }

    static ssize_t read(int file, void* bytes, std::size_t size)
    {
        struct stat status;
        if (active && fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
            size = std::min<std::size_t>(size, 100);
            const int before = left--;
            if (before == 0 || (before < 0 && forGood)) {
                errno = EIO;
                return -1;
            }
        }
        return syscall(SYS_read, file, bytes, size);
    }

private:
    static inline std::atomic<bool> active{false};
    static inline std::atomic<bool> forGood{false};
    static inline std::atomic<int> left{0};
};

extern "C" ssize_t read(int file, void* bytes, std::size_t size)
{
    return FailingReads::read(file, bytes, size);
}

#else

/** No read fails here. */
struct FailingReads
{
    FailingReads(int, bool) { }
    bool happened() const { return false; }
};

#endif
#endif
