#include <Quarn/access/AccessTokenKeeper.h>

#include <Quarn/access/SecretText_p.h>
#include <Quarn/companion/Log.h>
#include <Quarn/companion/MutexLocker.h>
#include <Quarn/platform/Logon_p.h>

#include <algorithm>
#include <functional>
#include <mutex>

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

void warnOfPasswordChange(const std::wstring& scope, const std::wstring& user)
{
    Log::instance().write(Log::Warning, L"Changing password for: " + scope + L" / " + user
                                            + L" Is this intended?");
}

} // namespace

struct AccessTokenKeeper::Entry
{
    SecretText password;
    void* token;
};

std::size_t AccessTokenKeeper::KeyHash::operator()(const Key& key) const
{
    const std::hash<std::wstring> hash;
    return hash(key.first) * 31 + hash(key.second);
}

AccessTokenKeeper* AccessTokenKeeper::m_instance = nullptr;

AccessTokenKeeper::AccessTokenKeeper() : m_logonFunctions(logonFunctions()) { }

AccessTokenKeeper::~AccessTokenKeeper()
{
    for (const Tokens::value_type& entry : m_tokens)
        m_closing.push_back(&entry);
    std::sort(m_closing.begin(), m_closing.end(),
              [](const auto* left, const auto* right) { return left->first < right->first; });
    for (const Tokens::value_type* entry : m_closing)
        m_logonFunctions.close(entry->second->token);
}

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
    const MutexLocker locker(m_lock, true);
    Key key(std::move(scope), std::move(user));
    const auto found = m_tokens.find(key);
    if (found != m_tokens.end() && found->second->password == password)
        return found->second->token;

    // All that can fail for want of memory comes before the old token is closed.
    auto renewed = std::make_unique<Entry>(Entry{SecretText(password), invalidToken()});
    if (found == m_tokens.end()) {
        makeRoomForOne();
        Tokens fresh;
        fresh.emplace(std::move(key), std::move(renewed));
        return logOn(fresh.extract(fresh.begin()), password);
    }
    warnOfPasswordChange(key.first, key.second);
    m_invalidTokens.push_back(found->second->token);
    m_logonFunctions.close(found->second->token);
    Tokens::node_type entry = m_tokens.extract(found);
    entry.mapped() = std::move(renewed);
    return logOn(std::move(entry), password);
}

/** Sees to it that the next token can be kept, and closed in its turn, without more memory. */
void AccessTokenKeeper::makeRoomForOne()
{
    const std::size_t size = m_tokens.size();
    if (m_tokens.bucket_count() <= size + 1) // an empty map has a bucket that it doesn't use
        m_tokens.reserve(2 * size + 2);
    if (m_closing.capacity() <= size)
        m_closing.reserve(2 * size + 1);
}

/** Caches \a entry with the token of a new logon; a logon that fails in any way drops it. */
void* AccessTokenKeeper::logOn(Tokens::node_type entry, const std::wstring& password)
{
    void* token = invalidToken();
    if (!m_logonFunctions.logOn(entry.key().second, password, &token))
        return invalidToken();
    // Windows gives the value of a closed handle out again.
    m_invalidTokens.erase(std::remove(m_invalidTokens.begin(), m_invalidTokens.end(), token),
                          m_invalidTokens.end());
    entry.mapped()->token = token;
    m_tokens.insert(std::move(entry));
    return token;
}

bool AccessTokenKeeper::isTokenValid(void* token) const
{
    const MutexLocker locker(m_lock, true);
    return std::find(m_invalidTokens.begin(), m_invalidTokens.end(), token)
           == m_invalidTokens.end();
}

} // namespace kel
