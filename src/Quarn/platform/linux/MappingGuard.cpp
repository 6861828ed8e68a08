#include <Quarn/platform/linux/MappingGuard_p.h>

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace kel {

/**
 * One of a list that only grows and is read by the handler, which may take no lock: a range that is
 * free again is used for the next guard. While the version is odd the range changes hands; who finds
 * another version after reading the limits has read those of two guards. A thread that faults uses a
 * mapping, whose range therefore doesn't change.
 */
struct MappingGuard::Range
{
    static std::atomic<Range*> first;

    std::atomic<bool> taken{true};
    std::atomic<unsigned> version{0};
    std::atomic<std::uintptr_t> begin{0};
    std::atomic<std::uintptr_t> end{0};
    std::atomic<bool> broken{false};
    Range* next = nullptr; // set before others see this

    static Range* take();
    void set(std::uintptr_t from, std::uintptr_t to);
    bool breakFrom(std::uintptr_t address, std::uintptr_t page);
};

std::atomic<MappingGuard::Range*> MappingGuard::Range::first{nullptr};

// What is no more than an instruction may be used in a handler.
static_assert(std::atomic<std::uintptr_t>::is_always_lock_free
              && std::atomic<void*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

namespace {

std::uintptr_t pageSize()
{
    static const auto size = std::uintptr_t(::sysconf(_SC_PAGESIZE));
    return size;
}

/** Whether zeros could take the place of what is mapped there. */
bool zeros(std::uintptr_t begin, std::size_t size)
{
    // Past the library: a thread sanitizer takes its mmap() for a write by this thread.
#ifdef SYS_mmap2
    constexpr long call = SYS_mmap2;
#else
    constexpr long call = SYS_mmap;
#endif
    return ::syscall(call, begin, size, PROT_READ,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE, -1, 0)
           != -1;
}

} // namespace

MappingGuard::Range* MappingGuard::Range::take()
{
    for (Range* range = first; range; range = range->next) {
        bool free = false;
        if (range->taken.compare_exchange_strong(free, true))
            return range;
    }
    const auto range = new Range;
    range->next = first;
    while (!first.compare_exchange_weak(range->next, range)) { }
    return range;
}

void MappingGuard::Range::set(std::uintptr_t from, std::uintptr_t to)
{
    ++version;
    begin = from;
    end = to;
    broken = false;
    ++version;
}

/** In the handler: zeros from the page at \a address on; false if that isn't in this range. */
bool MappingGuard::Range::breakFrom(std::uintptr_t address, std::uintptr_t page)
{
    const unsigned before = version;
    const std::uintptr_t from = begin;
    const std::uintptr_t to = end;
    if (before % 2 != 0 || version != before || address < from || address >= to)
        return false;
    const std::uintptr_t start = address / page * page;
    broken = true; // before anybody reads the zeros
    return zeros(start, to - start);
}

namespace {

/** The handler, installed while the object lives. */
class BusErrorHandler
{
public:
    static void ensure() { static const BusErrorHandler handler; }

private:
    BusErrorHandler();
    ~BusErrorHandler();

    static void handle(int signal, siginfo_t* info, void* context);
    static void passOn(int signal, siginfo_t* info, void* context);

    static struct sigaction s_previous; // complete before the handler can run
    static std::uintptr_t s_pageSize;
};

struct sigaction BusErrorHandler::s_previous;
std::uintptr_t BusErrorHandler::s_pageSize;

BusErrorHandler::BusErrorHandler()
{
    s_pageSize = pageSize();
    ::sigaction(SIGBUS, nullptr, &s_previous);
    struct sigaction action = {};
    action.sa_sigaction = &BusErrorHandler::handle;
    action.sa_mask = s_previous.sa_mask;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | (s_previous.sa_flags & (SA_RESTART | SA_NODEFER));
    ::sigaction(SIGBUS, &action, nullptr);
}

BusErrorHandler::~BusErrorHandler()
{
    struct sigaction current = {};
    if (::sigaction(SIGBUS, nullptr, &current) == 0 && current.sa_flags & SA_SIGINFO
        && current.sa_sigaction == &BusErrorHandler::handle)
        ::sigaction(SIGBUS, &s_previous, nullptr);
}

void BusErrorHandler::handle(int signal, siginfo_t* info, void* context)
{
    const int error = errno;
    const bool isFault = info->si_code > 0; // not sent by kill() or the like
    if (!isFault || !MappingGuard::breakAt(info->si_addr, s_pageSize))
        passOn(signal, info, context);
    errno = error;
}

void BusErrorHandler::passOn(int signal, siginfo_t* info, void* context)
{
    if (s_previous.sa_flags & SA_SIGINFO) {
        s_previous.sa_sigaction(signal, info, context);
    } else if (s_previous.sa_handler != SIG_DFL && s_previous.sa_handler != SIG_IGN) {
        s_previous.sa_handler(signal);
    } else if (s_previous.sa_handler == SIG_DFL || info->si_code > 0) {
        // The system's own action. A fault repeats itself on return; what was sent must be repeated.
        struct sigaction action = {};
        action.sa_handler = SIG_DFL;
        ::sigaction(SIGBUS, &action, nullptr);
        if (info->si_code <= 0)
            ::raise(signal);
    }
}

} // namespace

bool MappingGuard::breakAt(const void* address, std::size_t pageSize)
{
    bool done = false;
    for (Range* range = Range::first; range && !done; range = range->next)
        done = range->breakFrom(std::uintptr_t(address), pageSize);
    return done;
}

void MappingGuard::protect(const void* begin, std::size_t size)
{
    BusErrorHandler::ensure();
    const std::uintptr_t page = pageSize();
    m_range = Range::take();
    m_range->set(std::uintptr_t(begin), (std::uintptr_t(begin) + size + page - 1) / page * page);
}

MappingGuard::~MappingGuard()
{
    release();
}

void MappingGuard::release()
{
    if (!m_range)
        return;
    m_range->set(0, 0);
    m_range->taken = false;
    m_range = nullptr;
}

bool MappingGuard::hasBroken() const
{
    return m_range && m_range->broken;
}

} // namespace kel
