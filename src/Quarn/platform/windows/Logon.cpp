#include <Quarn/platform/Logon_p.h>

#include <qt_windows.h>

namespace kel {

bool openLogonToken(const std::wstring& user, const std::wstring& password, void** token)
{
    return LogonUserW(user.c_str(), L".", password.c_str(), LOGON32_LOGON_NEW_CREDENTIALS,
                      LOGON32_PROVIDER_DEFAULT, token)
           != 0;
}

void closeLogonToken(void* token) noexcept
{
    CloseHandle(token);
}

} // namespace kel
