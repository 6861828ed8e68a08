#include <Quarn/platform/Logon_p.h>

#include <Quarn/access/SecretText_p.h>

#include <cstdint>
#include <map>
#include <mutex>

namespace kel {
namespace {

struct Credentials
{
    SecretText user;
    SecretText password;
};

/** The open tokens. Numbers, not addresses: a freed address comes back, a counter doesn't. */
class TokenTable
{
public:
    static TokenTable& instance()
    {
        static TokenTable table;
        return table;
    }

    std::uintptr_t add(const std::wstring& user, const std::wstring& password)
    {
        Credentials credentials{SecretText(user), SecretText(password)};
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open.emplace(m_last + 1, std::move(credentials));
        return ++m_last;
    }

    void remove(std::uintptr_t token) noexcept
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open.erase(token);
    }

private:
    std::mutex m_mutex; // guards both below; a leaf
    std::map<std::uintptr_t, Credentials> m_open;
    std::uintptr_t m_last = 0;
};

bool logOn(const std::wstring& user, const std::wstring& password, void** token)
{
    *token = reinterpret_cast<void*>(TokenTable::instance().add(user, password));
    return true;
}

void close(void* token) noexcept
{
    TokenTable::instance().remove(reinterpret_cast<std::uintptr_t>(token));
}

} // namespace

const LogonFunctions& systemLogonFunctions()
{
    // Made before any keeper that uses it, so that it is still there for one destroyed at exit.
    TokenTable::instance();
    static constexpr LogonFunctions functions = {logOn, close};
    return functions;
}

} // namespace kel
