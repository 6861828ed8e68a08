#include <Quarn/platform/Logon_p.h>

#include <Quarn/platform/windows/SystemCalls_p.h>

namespace kel {

bool openLogonToken(const std::wstring& user, const std::wstring& password, void** token)
{
    // The system would take what stands before a zero for all of it.
    if (user.find(L'\0') != user.npos || password.find(L'\0') != password.npos)
        return false;
    return systemCalls().logonUser(user.c_str(), L".", password.c_str(),
                                   LOGON32_LOGON_NEW_CREDENTIALS, LOGON32_PROVIDER_DEFAULT, token)
           != 0;
}

void closeLogonToken(void* token) noexcept
{
    systemCalls().closeHandle(token);
}

} // namespace kel
