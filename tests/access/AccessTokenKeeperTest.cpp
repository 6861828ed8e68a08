#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/companion/Log.h>
#include <Quarn/platform/Logon_p.h>

#include <QTest>

#include <atomic>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <thread>

using namespace kel;

namespace {

void* const failed = reinterpret_cast<void*>(-1);

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

bool logOn(const std::wstring&, const std::wstring&, void** token)
{
    const std::lock_guard<std::mutex> lock(books->mutex);
    ++books->logons;
    if (books->behaviour == Throw)
        throw std::bad_alloc();
    *token = books->behaviour == Fail ? nullptr : reinterpret_cast<void*>(++books->last);
    return *token && books->open.insert(*token).second;
}

void closeToken(void* token) noexcept
{
    const std::lock_guard<std::mutex> lock(books->mutex);
    if (books->open.erase(token) == 0)
        qFatal("Closed what is not open.");
    books->closed[token] = ++books->clock;
}

constexpr LogonFunctions bookKeeping = {logOn, closeToken};

} // namespace

/** When users are logged on, what the log says, and that no token is closed twice or leaked. */
class AccessTokenKeeperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        books = std::make_unique<Books>();
        replaceLogonFunctions(&bookKeeping);
    }

    void cleanup()
    {
        Log::instance().setStream(Log::Warning, nullptr);
        AccessTokenKeeper::killInstance();
        replaceLogonFunctions(nullptr);
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
            return keeper->getLoggedOnToken(L"back\nup", L"b\u00f6b\r\u2028\u0085", password);
        };
        void* const first = logOnWith(L"first-secret");
        QVERIFY(logOnWith(L"first-secret") == first && log.str().empty());
        void* const second = logOnWith(L"second-secret");
        QVERIFY(!keeper->isTokenValid(first) && keeper->isTokenValid(second));
        QCOMPARE(books->open, std::set<void*>{second});
        const std::wstring line = L"Changing password for: back up / b\u00f6b    Is this intended?";
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
