#include "faultyAllocations.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <set>

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unwind.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace faultyAllocations {
namespace {

using Stack = std::array<void*, 40>;

/** Of what is counted here, which is not to be counted. */
template <typename T>
struct Uncounted
{
    using value_type = T;
    Uncounted() = default;
    template <typename Other>
    Uncounted(const Uncounted<Other>&) // NOLINT: as allocators convert
    { }
    T* allocate(std::size_t count) { return static_cast<T*>(__libc_malloc(count * sizeof(T))); }
    void deallocate(T* memory, std::size_t) { __libc_free(memory); }
    bool operator==(const Uncounted&) const { return true; }
    bool operator!=(const Uncounted&) const { return false; }
};
using Allocations = std::set<void*, std::less<>, Uncounted<void*>>;
using Numbers = std::set<int, std::less<>, Uncounted<int>>;
using Calls = std::map<Stack, int, std::less<>, Uncounted<std::pair<const Stack, int>>>;

constexpr int mostOfAll = 100;
constexpr int mostBySameCalls = 1;

std::atomic<bool> armed{false};
std::atomic<bool> counting{false}; // what is freed, too, after disarm()
std::atomic<int> seen{0};
int number; // changed while nothing is armed, as the next
bool forGood;
int last; // of those that are recorded
std::mutex mutex; // guards what is uncounted; a leaf

/** What a process that made it before it forked can ask when the child is no more. */
struct Shared
{
    std::atomic<bool> failed{false};
    Stack failing{};
    std::pair<std::size_t, std::size_t> library; // where its code is
    std::size_t base = 0; // of the library
};
Shared& shared = *new (::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Shared;

template <typename T>
T& uncounted()
{
    static T& object = *new (__libc_malloc(sizeof(T))) T;
    return object;
}

Stack stack()
{
    struct Frames
    {
        Stack frames{};
        std::size_t count = 0;
    } found;
    const auto add = [](_Unwind_Context* context, void* to) {
        auto& all = *static_cast<Frames*>(to);
        all.frames[all.count++] = reinterpret_cast<void*>(_Unwind_GetIP(context));
        return all.count < all.frames.size() ? _URC_NO_REASON : _URC_END_OF_STACK;
    };
    _Unwind_Backtrace(add, &found);
    return found.frames;
}

std::string nameOf(void* address)
{
    Dl_info info{};
    if (!address || ::dladdr(static_cast<char*>(address) - 1, &info) == 0 || !info.dli_sname)
        return std::string();
    char* const name = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, nullptr);
    const std::string result = name ? name : info.dli_sname;
    std::free(name);
    return result;
}

bool isOfLibrary(void* address)
{
    const auto at = reinterpret_cast<std::size_t>(address);
    return at >= shared.library.first && at < shared.library.second;
}

/** Whether the library is among the callers. */
bool isByLibrary()
{
    bool found = false;
    const auto look = [](_Unwind_Context* context, void* result) {
        *static_cast<bool*>(result) = isOfLibrary(reinterpret_cast<void*>(_Unwind_GetIP(context)));
        return *static_cast<bool*>(result) ? _URC_END_OF_STACK : _URC_NO_REASON;
    };
    _Unwind_Backtrace(look, &found);
    return found;
}

/** While nothing fails: takes down by which calls the allocation numbered \a current came about. */
void record(int current)
{
    const Stack calls = stack();
    const std::lock_guard<std::mutex> lock(mutex);
    const bool isNew = ++uncounted<Calls>()[calls] <= mostBySameCalls;
    if (isNew || current <= mostOfAll)
        uncounted<Numbers>().insert(current);
    last = current;
}

bool isDue()
{
    const int current = ++seen;
    if (number == 0)
        record(current);
    if (number == 0 || current < number || (current > number && !forGood))
        return false;
    if (!shared.failed.exchange(true))
        shared.failing = stack();
    errno = ENOMEM;
    return true;
}

void forget(void* memory)
{
    if (!counting || !memory)
        return;
    const std::lock_guard<std::mutex> lock(mutex);
    uncounted<Allocations>().erase(memory);
}

/** What \a allocate does, or null when that is to fail. */
template <typename Allocate>
void* attempt(Allocate allocate)
{
    const bool concerned = armed && isByLibrary();
    void* const memory = concerned && isDue() ? nullptr : allocate();
    if (concerned && memory) {
        const std::lock_guard<std::mutex> lock(mutex);
        uncounted<Allocations>().insert(memory);
    }
    return memory;
}

} // namespace

void arm(int nth, bool lasting)
{
    const auto find = [](dl_phdr_info* info, std::size_t, void*) {
        if (std::strstr(info->dlpi_name, "libQuarn"))
            for (int i = 0; i < info->dlpi_phnum; ++i)
                if (const auto& part = info->dlpi_phdr[i]; part.p_flags & PF_X)
                    shared.library = {info->dlpi_addr + part.p_vaddr,
                                      info->dlpi_addr + part.p_vaddr + part.p_memsz},
                    shared.base = info->dlpi_addr;
        return 0;
    };
    ::dl_iterate_phdr(find, nullptr);
    if (nth == 0) {
        uncounted<Calls>().clear();
        uncounted<Numbers>().clear();
    }
    number = nth;
    forGood = lasting;
    seen = 0;
    shared.failed = false;
    counting = true;
    armed = true;
}

bool disarm()
{
    armed = false;
    return shared.failed;
}

std::string failedFunction()
{
    const Stack& failing = shared.failing;
    const auto caller = std::find_if(failing.begin(), failing.end(), isOfLibrary);
    return shared.failed && caller != failing.begin() ? nameOf(*std::prev(caller)) : std::string();
}

std::string failure()
{
    std::string all;
    for (void* const address : shared.failing) {
        char offset[24];
        std::snprintf(offset, sizeof offset, "%#zx",
                      reinterpret_cast<std::size_t>(address)
                          - (isOfLibrary(address) ? shared.base : 0));
        all += "  " + nameOf(address) + ' ' + offset + '\n';
    }
    return all;
}

int next(int nth)
{
    const auto found = uncounted<Numbers>().upper_bound(nth);
    return found != uncounted<Numbers>().end() ? *found : std::max(last, nth) + 1;
}

int live()
{
    return int(uncounted<Allocations>().size());
}

} // namespace faultyAllocations

using namespace faultyAllocations;

#define REPLACEMENT extern "C" __attribute__((visibility("default")))

REPLACEMENT void* malloc(std::size_t size)
{
    return attempt([&] { return __libc_malloc(size); });
}

REPLACEMENT void* calloc(std::size_t count, std::size_t size)
{
    return attempt([&] { return __libc_calloc(count, size); });
}

REPLACEMENT void* realloc(void* memory, std::size_t size)
{
    return attempt([&] {
        forget(memory); // before it may be another's
        return __libc_realloc(memory, size);
    });
}

REPLACEMENT void* memalign(std::size_t alignment, std::size_t size)
{
    return attempt([&] { return __libc_memalign(alignment, size); });
}

REPLACEMENT void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

REPLACEMENT int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    void* const got = memalign(alignment, size);
    if (got)
        *memory = got;
    return got ? 0 : ENOMEM;
}

REPLACEMENT void free(void* memory)
{
    forget(memory);
    __libc_free(memory);
}
