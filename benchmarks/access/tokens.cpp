#include "support/contest.h"
#include "support/families.h"

#include <Quarn/access/AccessTokenKeeper.h>

#include <mutex>
#include <unordered_map>

// Asking for the tokens of a thousand users who are all logged on.

namespace bench {
namespace {

constexpr int users = 1000;

struct User
{
    std::wstring scope;
    std::wstring name;
    std::wstring password;
};

const std::vector<User>& allUsers()
{
    static const std::vector<User> all = [] {
        std::vector<User> made;
        for (int number = 0; number < users; ++number)
            made.push_back({L"backup", L"somebody-" + std::to_wstring(number),
                            L"a password of " + std::to_wstring(number)});
        return made;
    }();
    return all;
}

struct KeyHash
{
    std::size_t operator()(const std::pair<std::wstring, std::wstring>& key) const
    {
        const std::hash<std::wstring> hash;
        return hash(key.first) * 31 + hash(key.second);
    }
};

/** What remembering tokens comes to, without keeping anything secret. */
class PlainTokens
{
public:
    void* get(std::wstring scope, std::wstring user, std::wstring password)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Entry& entry = m_entries[{std::move(scope), std::move(user)}];
        if (entry.password != password) {
            entry.password = std::move(password);
            entry.token = &entry;
        }
        return entry.token;
    }

private:
    struct Entry
    {
        std::wstring password;
        void* token = nullptr;
    };

    std::mutex m_mutex;
    std::unordered_map<std::pair<std::wstring, std::wstring>, Entry, KeyHash> m_entries;
};

template <typename Get>
void eachUser(Get get)
{
    for (const User& user : allUsers())
        insist(get(user.scope, user.name, user.password) != nullptr, "a user has no token");
}

} // namespace

void addTokens()
{
    const auto contender = [](const char* name, const Work& work) {
        add("token-hit", std::to_string(users), name, work);
    };
    contender(limit, [] {
        static PlainTokens tokens;
        eachUser([](const auto&... user) { return tokens.get(user...); });
    });
    contender(quarn, [] {
        static kel::AccessTokenKeeper keeper;
        eachUser([](const auto&... user) { return keeper.getLoggedOnToken(user...); });
    });
}

} // namespace bench
