#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/companion/Log.h>
#include <Quarn/platform/Logon_p.h>
#include <Quarn/platform/SecretMemory_p.h>

#include <QTest>

#include <atomic>
#include <cstdlib>
#include <map>
#include <new>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <thread>

using namespace kel;

namespace {

void* const failed = AccessTokenKeeper::noToken;
std::atomic<int> allocationsLeft{0}; // the one that it reaches 0 with fails; at 0 none does

void* allocate(std::size_t size)
{
    return allocationsLeft > 0 && --allocationsLeft == 0 ? nullptr : std::malloc(size);
}

enum Behaviour { Succeed, Fail, Throw };

/** Logons that keep the books of every token they open and close. */
struct Books
{
    std::mutex mutex;
    Behaviour behaviour = Succeed;
    std::uintptr_t last = 0;
    int logons = 0;
    std::set<void*> open;
    std::map<void*, int> closed; // with the time of closing
    std::atomic<int> clock{0};
};
std::unique_ptr<Books> books;

} // namespace

void* operator new(std::size_t size)
{
    if (void* const memory = allocate(size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

// What the system does for the keeper, which is compiled into this program.
namespace kel {

bool openLogonToken(const std::wstring&, const std::wstring&, void** token)
{
    const std::lock_guard<std::mutex> lock(books->mutex);
    ++books->logons;
    if (books->behaviour == Throw)
        throw std::bad_alloc();
    *token = books->behaviour == Fail ? nullptr : reinterpret_cast<void*>(++books->last);
    return *token && books->open.insert(*token).second;
}

void closeLogonToken(void* token) noexcept
{
    const std::lock_guard<std::mutex> lock(books->mutex);
    const int left = allocationsLeft.exchange(0);
    if (books->open.erase(token) == 0)
        qFatal("Closed what is not open.");
    books->closed[token] = ++books->clock;
    allocationsLeft = left;
}

void* allocateSecretMemory(std::size_t size) noexcept
{
    return allocate(size);
}

void freeSecretMemory(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

} // namespace kel

/** When users are logged on, what the log says, and that no token is closed twice or leaked. */
class AccessTokenKeeperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { books = std::make_unique<Books>(); }

    void cleanup()
    {
        Log::instance().setStream(Log::Warning, nullptr);
        AccessTokenKeeper::killInstance();
        QVERIFY(books->open.empty());
    }

    void logsOnOncePerKey()
    {
        AccessTokenKeeper keeper;
        for (int round = 0; round < 2; ++round) {
            (void)keeper.getLoggedOnToken(L"scope", L"bob", L"secret");
            (void)keeper.getLoggedOnToken(L"", L"bob", L"secret");
            (void)keeper.getLoggedOnToken(L"scope", L"Bob", L"secret");
            (void)keeper.getLoggedOnToken(L"scopeb", L"ob", L"secret");
            (void)keeper.getLoggedOnToken(L"scope", {L"bob\0x", 5}, L"secret");
            QVERIFY(books->logons == 5 && books->open.size() == 5);
        }
    }

    void closesAndReportsWhatIsReplaced()
    {
        std::wostringstream log;
        Log::instance().setStream(Log::Warning, &log);
        AccessTokenKeeper* const keeper = AccessTokenKeeper::instance();
        const auto logOnWith = [keeper](const wchar_t* password) {
            return keeper->getLoggedOnToken(L"\u202aback\nup\u202e",
                                            L"\u2066b\u00f6b\r\u2028\u0085\u2069", password);
        };
        void* const first = logOnWith(L"first-secret");
        QVERIFY(logOnWith(L"first-secret") == first && log.str().empty());
        void* const second = logOnWith(L"second-secret");
        QVERIFY(!keeper->isTokenValid(first) && keeper->isTokenValid(second));
        QCOMPARE(books->open, std::set<void*>{second});
        const std::wstring line
            = L"Changing password for:  back up  /  b\u00f6b     Is this intended?";
        const std::wstring text = log.str(); // one line, which cannot be forged
        QCOMPARE(text.find(L'\n'), text.size() - 1);
        QCOMPARE(text.find(line), text.size() - 1 - line.size());
        QCOMPARE(text.find(L"secret"), std::wstring::npos);

        books->last = 0; // the system gives out the value of the first one again
        QVERIFY(logOnWith(L"first-secret") == first && keeper->isTokenValid(first));
        AccessTokenKeeper::killInstance();
        AccessTokenKeeper::killInstance();
        QVERIFY(books->open.empty() && AccessTokenKeeper::instance()->isTokenValid(second));
    }

    void failedChangeLeavesNothing()
    {
        AccessTokenKeeper keeper;
        const auto attempt = [&](Behaviour behaviour, const wchar_t* password) {
            books->behaviour = behaviour;
            try {
                return keeper.getLoggedOnToken(L"scope", L"bob", password);
            } catch (const std::bad_alloc&) {
                return failed;
            }
        };
        for (const Behaviour behaviour : {Fail, Throw}) {
            QCOMPARE(attempt(behaviour, L"one"), failed);
            void* const first = attempt(Succeed, L"one");
            QVERIFY(first != failed && attempt(behaviour, L"two") == failed);
            QVERIFY(!keeper.isTokenValid(first) && books->open.empty());
        }
        QCOMPARE(books->logons, 6);
    }

    void changesPasswordsWhateverTheLogDoes()
    {
        struct : std::wstreambuf
        {
            int_type overflow(int_type) override { throw std::runtime_error("no room"); }
        } full;
        std::wostream log(&full);
        log.exceptions(std::ios::badbit);
        Log::instance().setStream(Log::Warning, &log);
        AccessTokenKeeper keeper;
        (void)keeper.getLoggedOnToken(L"", L"bob", L"one");
        void* const second = keeper.getLoggedOnToken(L"", L"bob", L"two");
        QCOMPARE(books->open, std::set<void*>{second});
    }

    /** Each allocation fails in its turn, of the first logon and of one with another password. */
    void losesNoTokenWhenMemoryIsShort()
    {
        for (const wchar_t* const user : {L"new", L"bob"}) {
            int rounds = 0;
            for (int left = 0; left == 0; ++rounds) {
                std::optional<AccessTokenKeeper> keeper(std::in_place);
                const std::size_t others = user == std::wstring(L"new") ? 1 : 0;
                void* const first = keeper->getLoggedOnToken(L"", L"bob", L"one");
                allocationsLeft = rounds + 1;
                try {
                    (void)keeper->getLoggedOnToken(L"", user, L"two");
                } catch (const std::bad_alloc&) {
                    QVERIFY(books->open.size() <= 1);
                }
                left = allocationsLeft.exchange(0);
                QCOMPARE(keeper->isTokenValid(first), books->open.count(first) == 1);
                void* const token = keeper->getLoggedOnToken(L"", user, L"two");
                QVERIFY(books->open.count(token) == 1 && books->open.size() == 1 + others);
                allocationsLeft = 1;
                keeper.reset();
                allocationsLeft = 0;
                QVERIFY(books->open.empty());
            }
            QVERIFY(rounds > 2);
        }
    }

    void manyThreads()
    {
        std::atomic<int> stale{0};
        const auto use = [&](unsigned seed) {
            std::mt19937 random(seed);
            for (int i = 0; i < 2000; ++i) {
                const std::wstring user = std::to_wstring(random() % 1000);
                const wchar_t* const password = random() % 8 == 0 ? L"new" : L"old";
                const int before = books->clock;
                void* const token
                    = AccessTokenKeeper::instance()->getLoggedOnToken(L"", user, password);
                const std::lock_guard<std::mutex> lock(books->mutex);
                const auto closed = books->closed.find(token);
                stale += closed != books->closed.end() && closed->second <= before;
            }
        };
        std::vector<std::thread> threads;
        for (unsigned seed = 0; seed < 16; ++seed)
            threads.emplace_back(use, seed);
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(stale.load(), 0);
        QCOMPARE(books->logons, int(books->open.size() + books->closed.size()));
    }
};

QTEST_GUILESS_MAIN(AccessTokenKeeperTest)
#include "AccessTokenKeeperTest.moc"
