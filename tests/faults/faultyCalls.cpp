#include "faultyCalls.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace faultyCalls {
namespace {

std::atomic<bool> armed{false};
std::atomic<int> seen{0};
std::atomic<int> failed{0};
std::atomic<const char*> first{""};
char folder[PATH_MAX];
Fault fault; // changed while nothing is armed

/** What a call is about: a path, relative to a folder's descriptor, or a descriptor alone. */
struct Target
{
    Target(const char* name) : path(name) { }
    Target(int file) : descriptor(file) { }
    Target(int directory, const char* name) : descriptor(directory), path(name) { }

    int descriptor = AT_FDCWD;
    const char* path = "";
};

// By way of syscall(): the functions themselves are replaced here.

bool isInFolder(const Target& target)
{
    char start[PATH_MAX] = "";
    const char* path = target.path ? target.path : "";
    if (path[0] != '/') {
        char link[40];
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", target.descriptor);
        if (target.descriptor == AT_FDCWD)
            ::strcpy(link, "/proc/self/cwd");
        const long length = ::syscall(SYS_readlink, link, start, sizeof start - 1);
        start[length < 0 ? 0 : length] = '\0';
        path = start;
    }
    const std::size_t length = std::strlen(folder);
    return std::strncmp(path, folder, length) == 0 && (path[length] == '/' || path[length] == '\0');
}

/** Whether \a call, "pread64" too if "read" is to fail, is one of those that may. */
bool isMeant(const char* call)
{
    return !fault.call || std::strstr(call, fault.call);
}

bool isDue(const char* call, const Target& target)
{
    if (!armed)
        return false;
    const int errorBefore = errno;
    const bool concerned = isMeant(call) && isInFolder(target);
    errno = errorBefore;
    if (!concerned)
        return false;
    const int number = ++seen;
    return number == fault.nth || (fault.lasting && number > fault.nth);
}

void note(const char* call)
{
    if (failed++ == 0)
        first = call;
}

/** For calls that transfer no bytes; a short count isn't for them. */
bool fails(const char* call, const Target& target)
{
    if ((armed && fault.error == shortCount) || !isDue(call, target))
        return false;
    note(call);
    errno = fault.error;
    return true;
}

/** The same for \a size bytes to transfer, which may become fewer. */
bool failsToTransfer(const char* call, int descriptor, std::size_t& size)
{
    if (!isDue(call, Target(descriptor)) || (fault.error == shortCount && size < 2))
        return false;
    note(call);
    errno = fault.error;
    if (fault.error == shortCount)
        size /= 2;
    return fault.error != shortCount;
}

template <typename Function>
Function next(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

__attribute__((constructor)) void armByEnvironment()
{
    static char text[PATH_MAX + 100];
    const char* const given = std::getenv("QUARN_FAULT");
    if (!given || std::strlen(given) >= sizeof text)
        return;
    std::strcpy(text, given);
    const char* const path = std::strtok(text, ":");
    Fault wanted;
    const char* part = nullptr;
    wanted.nth = (part = std::strtok(nullptr, ":")) ? std::atoi(part) : 1;
    wanted.error = (part = std::strtok(nullptr, ":")) ? std::atoi(part) : EIO;
    wanted.lasting = (part = std::strtok(nullptr, ":")) && std::strcmp(part, "lasting") == 0;
    wanted.call = std::strtok(nullptr, ":");
    arm(path, wanted);
}

} // namespace

void arm(const char* path, const Fault& wanted)
{
    armed = false;
    std::snprintf(folder, sizeof folder, "%s", path);
    fault = wanted;
    seen = failed = 0;
    first = "";
    armed = true;
}

int disarm()
{
    armed = false;
    return failed;
}

const char* firstFailure()
{
    return first;
}

} // namespace faultyCalls

using faultyCalls::fails;
using faultyCalls::failsToTransfer;
using faultyCalls::next;
using faultyCalls::Target;

// Every one of these calls takes at most six numbers and pointers, which all come in registers, and
// answers one: so one shape serves them all. C++ names of their own spare repeating the headers.
using Call = long (*)(long, long, long, long, long, long);

#define REPLACEMENT(name)                                                                          \
    extern "C" __attribute__((visibility("default"))) long faulty_##name(                          \
        long a, long b, long c, long d, long e, long f) __asm__(#name);                            \
    long faulty_##name(long a, [[maybe_unused]] long b, [[maybe_unused]] long c,                   \
                       [[maybe_unused]] long d, [[maybe_unused]] long e, [[maybe_unused]] long f)

#define FAULTY(name, target, failure)                                                              \
    REPLACEMENT(name)                                                                              \
    {                                                                                              \
        static const auto real = next<Call>(#name);                                                \
        return fails(#name, target) ? failure : real(a, b, c, d, e, f);                            \
    }

#define BY_PATH(name) FAULTY(name, Target(path(a)), -1)
#define BY_FILE(name) FAULTY(name, Target(int(a)), -1)
#define BY_FOLDER(name) FAULTY(name, Target(int(a), path(b)), -1)

// The third argument is the number of bytes.
#define TRANSFER(name)                                                                             \
    REPLACEMENT(name)                                                                              \
    {                                                                                              \
        static const auto real = next<Call>(#name);                                                \
        std::size_t size = std::size_t(c);                                                         \
        return failsToTransfer(#name, int(a), size) ? -1 : real(a, b, long(size), d, e, f);        \
    }

// What fails must fail, but nobody here waits for a disk.
#define SYNC(name)                                                                                 \
    REPLACEMENT(name)                                                                              \
    {                                                                                              \
        return fails(#name, Target(int(a))) ? -1 : 0;                                              \
    }

namespace {

const char* path(long argument)
{
    return reinterpret_cast<const char*>(argument);
}

Target folder(long argument)
{
    return Target(::dirfd(reinterpret_cast<DIR*>(argument)));
}

} // namespace

BY_PATH(open)
BY_PATH(open64)
BY_FOLDER(openat)
BY_FOLDER(openat64)
TRANSFER(read)
TRANSFER(pread)
TRANSFER(pread64)
TRANSFER(write)
TRANSFER(pwrite)
TRANSFER(pwrite64)
BY_FILE(copy_file_range)
BY_FILE(sendfile)
BY_FILE(sendfile64)
BY_FILE(lseek)
BY_FILE(lseek64)
BY_FILE(ftruncate)
BY_FILE(ftruncate64)
BY_PATH(truncate)
BY_PATH(truncate64)
SYNC(fsync)
SYNC(fdatasync)

REPLACEMENT(close) // which closes, whatever it says
{
    static const auto real = next<Call>("close");
    const bool failing = fails("close", Target(int(a)));
    const int error = errno;
    const long result = real(a, b, c, d, e, f);
    errno = failing ? error : errno;
    return failing ? -1 : result;
}

BY_PATH(unlink)
BY_FOLDER(unlinkat)
BY_PATH(remove)
BY_PATH(rmdir)
BY_PATH(mkdir)
BY_FOLDER(mkdirat)
BY_PATH(rename)
BY_FOLDER(renameat)
BY_FOLDER(renameat2)
BY_PATH(link)
FAULTY(linkat, Target(int(c), path(d)), -1)
FAULTY(symlink, Target(path(b)), -1)
BY_PATH(readlink)
BY_FOLDER(readlinkat)
BY_PATH(chmod)
BY_FILE(fchmod)
BY_FILE(fchown)
BY_PATH(access)
BY_FOLDER(faccessat)
BY_PATH(stat)
BY_PATH(stat64)
BY_PATH(lstat)
BY_PATH(lstat64)
BY_FILE(fstat)
BY_FILE(fstat64)
BY_FOLDER(fstatat)
BY_FOLDER(fstatat64)
BY_FOLDER(statx)
FAULTY(opendir, Target(path(a)), 0)
FAULTY(fdopendir, Target(int(a)), 0)
FAULTY(readdir, folder(a), 0)
FAULTY(readdir64, folder(a), 0)
BY_PATH(getxattr)
BY_FILE(fgetxattr)
BY_PATH(setxattr)
BY_FILE(fsetxattr)
BY_PATH(removexattr)
BY_FILE(fremovexattr)
