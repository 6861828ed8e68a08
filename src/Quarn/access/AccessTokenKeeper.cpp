#include <Quarn/access/AccessTokenKeeper.h>

#include <Quarn/access/SecretText_p.h>
#include <Quarn/companion/Log.h>
#include <Quarn/companion/MutexLocker.h>
#include <Quarn/platform/Logon_p.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory_resource>
#include <mutex>
#include <new>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace kel {
namespace {

std::mutex instanceMutex; // guards AccessTokenKeeper::m_instance

/** Wipes a password that was passed by value, however the call ends. */
class Wiper
{
public:
    explicit Wiper(std::wstring& text) : m_text(text) { }
    Wiper(const Wiper&) = delete;
    Wiper& operator=(const Wiper&) = delete;
    ~Wiper() { wipe(m_text); }

private:
    std::wstring& m_text;
};

using Key = std::pair<std::wstring, std::wstring>; // scope and user

struct KeyHash
{
    std::size_t operator()(const Key& key) const
    {
        const std::hash<std::wstring> hash;
        return hash(key.first) * 31 + hash(key.second);
    }
};

/** Whether \a character has what follows shown in another order. */
bool turnsText(wchar_t character)
{
    return (character >= 0x202a && character <= 0x202e)
           || (character >= 0x2066 && character <= 0x2069);
}

/** A log that cannot be written keeps nobody from a new password. */
void warnOfPasswordChange(const Key& key) noexcept
{
    try {
        std::wstring line
            = L"Changing password for: " + key.first + L" / " + key.second + L" Is this intended?";
        std::replace_if(line.begin(), line.end(), turnsText, L' '); // as the log does with others
        Log::instance().write(Log::Warning, line);
    } catch (...) { // whatever the log's stream throws
    }
}

} // namespace

/** The tokens of one keeper. */
class AccessTokenKeeper::Tokens
{
public:
    Tokens() : m_memory({256, 1024}, &secretPages()) { }
    Tokens(const Tokens&) = delete;
    Tokens& operator=(const Tokens&) = delete;
    ~Tokens() { closeAll(); }

    void* get(Key key, const std::wstring& password);
    bool isClosed(void* token) const;
    bool forget(const Key& key);
    void clear();

private:
    struct Entry
    {
        SecretText password;
        void* token;
    };
    using Map = std::unordered_map<Key, Entry, KeyHash>;

    void* logOn(Map::iterator entry, const std::wstring& password);
    void closeAll() noexcept;

    std::pmr::unsynchronized_pool_resource m_memory; // of the passwords
    Map m_open;
    std::unordered_set<void*> m_closed; // while the keeper goes on
    mutable Mutex m_lock; // guards all; taken before the log's mutex, held during logons
};

void* AccessTokenKeeper::Tokens::get(Key key, const std::wstring& password)
{
    const MutexLocker locker(m_lock, true);
    const auto entry = m_open.find(key);
    if (entry != m_open.end() && entry->second.password == password)
        return entry->second.token;

    Entry renewed{SecretText(password, m_memory), noToken};
    if (entry == m_open.end())
        return logOn(m_open.emplace(std::move(key), std::move(renewed)).first, password);
    // The last that can fail for want of memory: from here on the old token is gone.
    m_closed.insert(entry->second.token);
    warnOfPasswordChange(key);
    closeLogonToken(entry->second.token);
    entry->second = std::move(renewed);
    return logOn(entry, password);
}

/** Opens the token of \a entry, which has none. A logon that fails in any way removes the entry. */
void* AccessTokenKeeper::Tokens::logOn(Map::iterator entry, const std::wstring& password)
{
    void* token = noToken;
    bool opened = false;
    try {
        opened = openLogonToken(entry->first.second, password, &token);
    } catch (...) {
        m_open.erase(entry);
        throw;
    }
    if (!opened) {
        m_open.erase(entry);
        return noToken;
    }
    m_closed.erase(token); // Windows gives the value of a closed handle out again
    entry->second.token = token;
    return token;
}

bool AccessTokenKeeper::Tokens::isClosed(void* token) const
{
    const MutexLocker locker(m_lock, true);
    return m_closed.count(token) > 0;
}

bool AccessTokenKeeper::Tokens::forget(const Key& key)
{
    const MutexLocker locker(m_lock, true);
    const auto entry = m_open.find(key);
    if (entry == m_open.end())
        return false;
    m_closed.insert(entry->second.token);
    closeLogonToken(entry->second.token);
    m_open.erase(entry);
    return true;
}

void AccessTokenKeeper::Tokens::clear()
{
    const MutexLocker locker(m_lock, true);
    std::unordered_set<void*> closing;
    for (const Map::value_type& entry : m_open)
        closing.insert(entry.second.token);
    m_closed.reserve(m_closed.size() + closing.size()); // the last that can fail
    closeAll();
    m_closed.merge(closing);
    m_open.clear();
}

/** Closes the tokens in the order of their keys, or in any when there is no memory to sort them. */
void AccessTokenKeeper::Tokens::closeAll() noexcept
{
    std::vector<const Map::value_type*> sorted;
    try {
        sorted.reserve(m_open.size());
        for (const Map::value_type& entry : m_open)
            sorted.push_back(&entry);
        std::sort(sorted.begin(), sorted.end(),
                  [](const auto* left, const auto* right) { return left->first < right->first; });
        for (const Map::value_type* const entry : sorted)
            closeLogonToken(entry->second.token);
    } catch (const std::bad_alloc&) {
        for (const Map::value_type& entry : m_open)
            closeLogonToken(entry.second.token);
    }
}

// A value of the system, never followed.
void* const AccessTokenKeeper::noToken // NOLINTNEXTLINE(performance-no-int-to-ptr)
    = reinterpret_cast<void*>(std::intptr_t(-1));

AccessTokenKeeper* AccessTokenKeeper::m_instance = nullptr;

AccessTokenKeeper::AccessTokenKeeper() : m_tokens(std::make_unique<Tokens>()) { }

AccessTokenKeeper::~AccessTokenKeeper() = default;

AccessTokenKeeper* AccessTokenKeeper::instance()
{
    const std::lock_guard<std::mutex> lock(instanceMutex);
    if (!m_instance)
        m_instance = new AccessTokenKeeper;
    return m_instance;
}

void AccessTokenKeeper::killInstance()
{
    std::unique_lock<std::mutex> lock(instanceMutex);
    const std::unique_ptr<AccessTokenKeeper> ending(std::exchange(m_instance, nullptr));
    lock.unlock();
}

void* AccessTokenKeeper::getLoggedOnToken(std::wstring scope, std::wstring user,
                                          std::wstring password)
{
    const Wiper wiper(password);
    return m_tokens->get({std::move(scope), std::move(user)}, password);
}

bool AccessTokenKeeper::isTokenValid(void* token) const
{
    return !m_tokens->isClosed(token);
}

bool AccessTokenKeeper::forget(const std::wstring& scope, const std::wstring& user)
{
    return m_tokens->forget({scope, user});
}

void AccessTokenKeeper::clear()
{
    m_tokens->clear();
}

} // namespace kel
