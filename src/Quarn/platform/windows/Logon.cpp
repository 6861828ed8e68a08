#include <Quarn/platform/Logon_p.h>

#include <qt_windows.h>

namespace kel {
namespace {

bool logOn(const std::wstring& user, const std::wstring& password, void** token)
{
    return LogonUserW(user.c_str(), L".", password.c_str(), LOGON32_LOGON_NEW_CREDENTIALS,
                      LOGON32_PROVIDER_DEFAULT, token)
           != 0;
}

void close(void* token) noexcept
{
    CloseHandle(token);
}

} // namespace

const LogonFunctions& systemLogonFunctions()
{
    static constexpr LogonFunctions functions = {logOn, close};
    return functions;
}

} // namespace kel
