#include "support/TestRegistry.h"

#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/companion/Log.h>
#include <Quarn/platform/Logon_p.h>

#include <QTest>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <random>
#include <set>
#include <sstream>
#include <thread>
#include <type_traits>
#include <vector>

using namespace kel;

namespace {

static_assert(!std::is_copy_constructible_v<
                  AccessTokenKeeper> && !std::is_copy_assignable_v<AccessTokenKeeper>);

void* const failed = reinterpret_cast<void*>(-1);

enum Behaviour { Succeed, Fail, FailWithNull, Throw };

/** Logons that keep the books of every token they open and close. */
struct Books
{
    std::mutex mutex;
    Behaviour behaviour = Succeed;
    std::uintptr_t last = 0;
    int logons = 0;
    std::set<void*> open;
    std::map<void*, int> closed; // with the time of closing
    int wronglyClosed = 0;
    std::atomic<int> clock{0};
};
Books* books = nullptr;

bool logOn(const std::wstring&, const std::wstring&, void** token)
{
    const std::lock_guard<std::mutex> lock(books->mutex);
    ++books->logons;
    if (books->behaviour == Throw)
        throw std::bad_alloc();
    if (books->behaviour == FailWithNull)
        *token = nullptr;
    if (books->behaviour != Succeed)
        return false;
    *token = reinterpret_cast<void*>(++books->last);
    books->open.insert(*token);
    return true;
}

void closeToken(void* token) noexcept
{
    const std::lock_guard<std::mutex> lock(books->mutex);
    if (books->open.erase(token) == 0)
        ++books->wronglyClosed;
    books->closed[token] = ++books->clock;
}

constexpr LogonFunctions bookKeeping = {logOn, closeToken};

} // namespace

/** When users are logged on, what the log says, and that no token is closed twice or leaked. */
class AccessTokenKeeperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void logsOnOncePerKey_data();
    void logsOnOncePerKey();
    void closesWhatIsReplaced();
    void failedChangeLeavesNothing_data();
    void failedChangeLeavesNothing();
    void writesOneLineThatCannotBeForged();
    void manyThreads();

private:
    std::unique_ptr<Books> m_books;
    std::wostringstream m_log;
};

void AccessTokenKeeperTest::init()
{
    m_books = std::make_unique<Books>();
    books = m_books.get();
    m_log.str(std::wstring());
    Log::instance().setStream(Log::Warning, &m_log);
    replaceLogonFunctions(&bookKeeping);
}

void AccessTokenKeeperTest::cleanup()
{
    AccessTokenKeeper::killInstance();
    replaceLogonFunctions(nullptr);
    Log::instance().setStream(Log::Warning, nullptr);
    QVERIFY(m_books->open.empty());
    QCOMPARE(m_books->wronglyClosed, 0);
}

void AccessTokenKeeperTest::logsOnOncePerKey_data()
{
    QTest::addColumn<QString>("scope");
    QTest::addColumn<QString>("user");
    QTest::addColumn<int>("logons");
    QTest::newRow("same") << QStringLiteral("scope") << QStringLiteral("bob") << 1;
    QTest::newRow("other scope") << QStringLiteral("") << QStringLiteral("bob") << 2;
    QTest::newRow("other case") << QStringLiteral("scope") << QStringLiteral("Bob") << 2;
    QTest::newRow("zero within") << QStringLiteral("scope") << QString::fromLatin1("bob\0x", 5)
                                 << 2;
    QTest::newRow("same text put together")
        << QStringLiteral("scopeb") << QStringLiteral("ob") << 2;
}

void AccessTokenKeeperTest::logsOnOncePerKey()
{
    QFETCH(QString, scope);
    QFETCH(QString, user);
    QFETCH(int, logons);
    AccessTokenKeeper keeper;
    void* const first = keeper.getLoggedOnToken(L"scope", L"bob", L"secret");
    void* const second
        = keeper.getLoggedOnToken(scope.toStdWString(), user.toStdWString(), L"secret");
    QCOMPARE(m_books->logons, logons);
    QCOMPARE(first == second, logons == 1);
    QCOMPARE(m_log.str(), std::wstring());
}

void AccessTokenKeeperTest::closesWhatIsReplaced()
{
    AccessTokenKeeper* keeper = AccessTokenKeeper::instance();
    void* const first = keeper->getLoggedOnToken(L"scope", L"bob", L"one");
    void* const second = keeper->getLoggedOnToken(L"scope", L"bob", L"two");
    QVERIFY(!keeper->isTokenValid(first));
    QVERIFY(keeper->isTokenValid(second) && keeper->isTokenValid(nullptr));
    QCOMPARE(m_books->open, std::set<void*>{second});

    m_books->last = 0; // the system gives out the value of the first one again
    QCOMPARE(keeper->getLoggedOnToken(L"scope", L"bob", L"one"), first);
    QVERIFY(keeper->isTokenValid(first));

    AccessTokenKeeper::killInstance();
    AccessTokenKeeper::killInstance();
    QVERIFY(m_books->open.empty());
    QVERIFY(AccessTokenKeeper::instance()->isTokenValid(second));
}

void AccessTokenKeeperTest::failedChangeLeavesNothing_data()
{
    QTest::addColumn<int>("behaviour");
    QTest::newRow("token as it was") << int(Fail);
    QTest::newRow("token null") << int(FailWithNull);
    QTest::newRow("out of memory") << int(Throw);
}

void AccessTokenKeeperTest::failedChangeLeavesNothing()
{
    QFETCH(int, behaviour);
    AccessTokenKeeper keeper;
    const auto attempt = [&](const wchar_t* password) {
        try {
            return keeper.getLoggedOnToken(L"scope", L"bob", password);
        } catch (const std::bad_alloc&) {
            return failed;
        }
    };
    m_books->behaviour = Behaviour(behaviour);
    QCOMPARE(attempt(L"one"), failed);
    m_books->behaviour = Succeed;
    void* const first = attempt(L"one");
    m_books->behaviour = Behaviour(behaviour);
    QCOMPARE(attempt(L"two"), failed);
    QVERIFY(!keeper.isTokenValid(first));
    QVERIFY(m_books->open.empty());
    m_books->behaviour = Succeed;
    void* const again = attempt(L"one");
    QVERIFY(again != failed && again != first);
    QCOMPARE(m_books->logons, 4);
}

void AccessTokenKeeperTest::writesOneLineThatCannotBeForged()
{
    AccessTokenKeeper keeper;
    for (const wchar_t* password : {L"first-secret", L"second-secret"})
        (void)keeper.getLoggedOnToken(L"back\nup", L"b\u00f6b\r\u2028\u0085", password);
    const std::wstring text = m_log.str();
    const std::wstring line = L"Changing password for: back up / b\u00f6b    Is this intended?\n";
    QVERIFY(text.size() > line.size());
    QCOMPARE(text.substr(text.size() - line.size()), line);
    QCOMPARE(std::count(text.begin(), text.end(), L'\n'), 1);
    QCOMPARE(text.find(L"secret"), std::wstring::npos);
}

void AccessTokenKeeperTest::manyThreads()
{
    Log::instance().setStream(Log::Warning, nullptr);
    std::atomic<int> stale{0};
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 16; ++seed)
        threads.emplace_back([&, seed] {
            std::mt19937 random(seed);
            for (int i = 0; i < 2000; ++i) {
                const std::wstring user = std::to_wstring(random() % 1000);
                const std::wstring password = random() % 8 == 0 ? L"new" : L"old";
                const int before = books->clock;
                void* const token
                    = AccessTokenKeeper::instance()->getLoggedOnToken(L"", user, password);
                const std::lock_guard<std::mutex> lock(books->mutex);
                const auto closed = books->closed.find(token);
                stale += closed != books->closed.end() && closed->second <= before;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(stale.load(), 0);
    QCOMPARE(m_books->logons, int(m_books->open.size() + m_books->closed.size()));
}

QUARN_TEST(AccessTokenKeeperTest)
#include "AccessTokenKeeperTest.moc"
