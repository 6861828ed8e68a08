#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/companion/Log.h>
#include <Quarn/platform/Logon_p.h>
#include <Quarn/platform/SecretMemory_p.h>

#include <QTest>

#include <atomic>
#include <cstdlib>
#include <future>
#include <map>
#include <new>
#include <random>
#include <set>
#include <sstream>

using namespace kel;

namespace {

/** Of every token that is opened and closed. */
struct Books
{
    std::mutex mutex;
    std::uintptr_t last = 0;
    std::set<void*> open;
    std::map<void*, int> closed; // with the time of closing
    std::atomic<int> clock{0};
};
std::unique_ptr<Books> books;

std::atomic<int> allocationsLeft{0}; // the one that it reaches 0 with fails; at 0 none does

} // namespace

void* operator new(std::size_t size)
{
    if (void* const memory = kel::allocateSecretMemory(size))
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

bool kel::openLogonToken(const std::wstring&, const std::wstring& password, void** token)
{
    const std::lock_guard<std::mutex> lock(books->mutex);
    *token = password == L"wrong" ? nullptr : reinterpret_cast<void*>(++books->last);
    return *token && books->open.insert(*token).second;
}

void kel::closeLogonToken(void* token) noexcept
{
    const std::lock_guard<std::mutex> lock(books->mutex);
    const int left = allocationsLeft.exchange(0);
    if (books->open.erase(token) == 0)
        qFatal("Closed what is not open.");
    books->closed[token] = ++books->clock;
    allocationsLeft = left;
}

void* kel::allocateSecretMemory(std::size_t size) noexcept
{
    return allocationsLeft > 0 && --allocationsLeft == 0 ? nullptr : std::malloc(size);
}

void kel::freeSecretMemory(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

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
        const std::pair<std::wstring, std::wstring> keys[] = {{L"scope", L"bob"},
                                                              {L"", L"bob"},
                                                              {L"scope", L"Bob"},
                                                              {L"scopeb", L"ob"},
                                                              {L"scope", {L"bob\0x", 5}}};
        AccessTokenKeeper keeper;
        for (int round = 0; round < 2; ++round) {
            for (const auto& [scope, user] : keys)
                (void)keeper.getLoggedOnToken(scope, user, L"secret");
            QVERIFY(books->last == 5 && books->open.size() == 5);
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
        const QString text = QString::fromStdWString(log.str()); // one line, without a forged one
        QVERIFY(text.endsWith(QStringLiteral(
            "Changing password for:  back up  /  b\u00f6b     Is this intended?\n")));

        QCOMPARE(logOnWith(L"wrong"), AccessTokenKeeper::noToken);
        QVERIFY(!keeper->isTokenValid(second) && books->open.empty());
        books->last = 0; // the system gives out the value of the first one again
        QVERIFY(logOnWith(L"first-secret") == first && keeper->isTokenValid(first));
        AccessTokenKeeper::killInstance();
        AccessTokenKeeper::killInstance();
        QVERIFY(books->open.empty() && AccessTokenKeeper::instance()->isTokenValid(second));
    }

    void forgetsAndClears()
    {
        AccessTokenKeeper keeper;
        const auto logOn
            = [&](const wchar_t* user) { return keeper.getLoggedOnToken(L"", user, L"secret"); };
        void* const bob = logOn(L"bob");
        void* const eve = logOn(L"eve");
        QVERIFY(!keeper.forget(L"", L"Bob") && keeper.forget(L"", L"bob"));
        QVERIFY(!keeper.isTokenValid(bob) && keeper.isTokenValid(eve));
        QCOMPARE(books->open, std::set<void*>{eve});
        QVERIFY(!keeper.forget(L"", L"bob"));
        QVERIFY(logOn(L"bob") != bob && logOn(L"eve") == eve);
        const std::set<void*> open = books->open;
        bool failed = true;
        for (int allocation = 1; failed; ++allocation) {
            allocationsLeft = allocation;
            try {
                keeper.clear();
                failed = false;
            } catch (const std::bad_alloc&) { }
            allocationsLeft = 0;
            QCOMPARE(keeper.isTokenValid(eve), failed);
            QCOMPARE(books->open, failed ? open : std::set<void*>());
        }
        QVERIFY(logOn(L"eve") != eve);
    }

    /** Each allocation fails in its turn, of a first logon and of one with another password. */
    void losesNoTokenWhenMemoryIsShort()
    {
        for (const std::wstring user : {L"new", L"bob"}) {
            bool failed = true;
            for (int allocation = 1; failed; ++allocation) {
                auto keeper = std::make_unique<AccessTokenKeeper>();
                void* const first = keeper->getLoggedOnToken(L"", L"bob", L"one");
                allocationsLeft = allocation;
                try {
                    (void)keeper->getLoggedOnToken(L"", user, L"two");
                } catch (const std::bad_alloc&) { }
                failed = allocationsLeft.exchange(0) == 0;
                QCOMPARE(keeper->isTokenValid(first), books->open.count(first) == 1);
                void* const token = keeper->getLoggedOnToken(L"", user, L"two");
                QVERIFY(books->open.count(token) == 1);
                QCOMPARE(books->open.size(), std::size_t(user == L"new" ? 2 : 1));
                allocationsLeft = 1; // there is no memory to sort the tokens
                keeper.reset();
                allocationsLeft = 0;
                QVERIFY(books->open.empty());
            }
        }
    }

    void manyThreads()
    {
        const auto use = [&](unsigned seed) {
            int stale = 0;
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
            return stale;
        };
        std::vector<std::future<int>> users;
        for (unsigned seed = 0; seed < 16; ++seed)
            users.push_back(std::async(std::launch::async, use, seed));
        for (std::future<int>& user : users)
            QCOMPARE(user.get(), 0);
        QCOMPARE(books->last, books->open.size() + books->closed.size());
    }
};

QTEST_GUILESS_MAIN(AccessTokenKeeperTest)
#include "AccessTokenKeeperTest.moc"
