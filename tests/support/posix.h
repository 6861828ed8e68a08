#ifndef QUARN_TESTS_SUPPORT_POSIX_H
#define QUARN_TESTS_SUPPORT_POSIX_H

/**
 * \file
 * Whether the system has POSIX, and what tests use of it. Without it, a test skips what needs pipes
 * with a name, symbolic links, limits or devices; the functions are there to compile, and fail.
 */

#ifdef __unix__ // which moc knows, too
#define QUARN_HAS_POSIX 1

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#else
#define QUARN_HAS_POSIX 0

inline int mkfifo(const char*, int)
{
    return -1;
}

#endif

constexpr bool hasPosix = QUARN_HAS_POSIX;

#endif
