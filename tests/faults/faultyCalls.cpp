#include "faultyCalls.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
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
std::atomic<const char*> first{nullptr}; // of the calls that failed
bool inProgram = false; // armed by its environment: says what failed
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

bool isDue(const Target& target)
{
    if (!armed)
        return false;
    const int errorBefore = errno;
    const bool concerned = isInFolder(target);
    errno = errorBefore;
    if (!concerned)
        return false;
    const int number = ++seen;
    return number == fault.nth || (fault.lasting && number > fault.nth);
}

void note(const char* call)
{
    const char* none = nullptr;
    if (first.compare_exchange_strong(none, call) && inProgram)
        ::dprintf(STDERR_FILENO, "faulty call: %s\n", call);
    if (fault.error == kill)
        ::kill(::getpid(), SIGKILL);
}

/** For calls that transfer no bytes; a short count isn't for them. */
bool fails(const char* call, const Target& target)
{
    if ((armed && fault.error == shortCount) || !isDue(target))
        return false;
    note(call);
    errno = fault.error;
    return true;
}

/** The same for \a size bytes to transfer, which may become fewer: first some go, then none. */
bool failsToTransfer(const char* call, int descriptor, std::size_t& size)
{
    if (!isDue(Target(descriptor)) || (fault.error == shortCount && size < 2))
        return false;
    const bool halved = fault.error == shortCount && !first;
    note(call);
    errno = fault.error == shortCount ? EIO : fault.error;
    if (halved)
        size /= 2;
    return !halved;
}

template <typename Function>
Function next(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

__attribute__((constructor)) void armByEnvironment()
{
    static char path[PATH_MAX];
    char duration[8];
    Fault wanted;
    const char* const given = std::getenv("QUARN_FAULT");
    inProgram
        = given
          && std::sscanf(given, "%4095[^:]:%d:%d:%7s", path, &wanted.nth, &wanted.error, duration)
                 == 4;
    wanted.lasting = inProgram && std::strcmp(duration, "lasting") == 0;
    if (inProgram)
        arm(path, wanted);
}

} // namespace

void arm(const char* path, const Fault& wanted)
{
    armed = false;
    std::snprintf(folder, sizeof folder, "%s", path);
    fault = wanted;
    seen = 0;
    first = nullptr;
    armed = true;
}

const char* disarm()
{
    armed = false;
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

// clang-format takes each X() for a statement, and splits one more off with every run.
// clang-format off
#define CALLS_BY_PATH(X)                                                                           \
    X(open) X(open64) X(truncate) X(truncate64) X(unlink) X(remove) X(rmdir) X(mkdir) X(rename)    \
    X(link) X(readlink) X(chmod) X(access) X(stat) X(stat64) X(lstat) X(lstat64)                   \
    X(getxattr) X(lgetxattr) X(setxattr) X(lsetxattr) X(removexattr) X(lremovexattr)
#define CALLS_BY_FILE(X)                                                                           \
    X(copy_file_range) X(sendfile) X(sendfile64) X(lseek) X(lseek64) X(ftruncate) X(ftruncate64)   \
    X(fchmod) X(fchown) X(fstat) X(fstat64) X(fgetxattr) X(fsetxattr) X(fremovexattr)              \
    X(fsync) X(fdatasync) X(flistxattr) X(futimens) X(sync_file_range) X(fstatfs) X(fstatfs64)       \
    X(fstatvfs) X(fstatvfs64)
#define CALLS_BY_FOLDER(X)                                                                         \
    X(openat) X(openat64) X(unlinkat) X(mkdirat) X(renameat) X(renameat2) X(readlinkat)            \
    X(faccessat) X(fstatat) X(fstatat64) X(statx) X(mkfifoat) X(fchownat) X(utimensat)
#define TRANSFERS(X) X(read) X(pread) X(pread64) X(write) X(pwrite) X(pwrite64)
// clang-format on

CALLS_BY_PATH(BY_PATH)
CALLS_BY_FILE(BY_FILE)
CALLS_BY_FOLDER(BY_FOLDER)
TRANSFERS(TRANSFER)
FAULTY(linkat, Target(int(c), path(d)), -1)
FAULTY(symlink, Target(path(b)), -1)
FAULTY(symlinkat, Target(int(b), path(c)), -1)
FAULTY(opendir, Target(path(a)), 0)
FAULTY(fdopendir, Target(int(a)), 0)
FAULTY(readdir, folder(a), 0)
FAULTY(readdir64, folder(a), 0)

REPLACEMENT(close) // which closes, whatever it says
{
    static const auto real = next<Call>("close");
    const bool failing = fails("close", Target(int(a)));
    const int error = errno;
    const long result = real(a, b, c, d, e, f);
    errno = failing ? error : errno;
    return failing ? -1 : result;
}
