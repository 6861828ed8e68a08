#ifndef QUARN_PLATFORM_LOGON_P_H
#define QUARN_PLATFORM_LOGON_P_H

#include <string>

namespace kel {

/**
 * Opens a token that stands for \a user with \a password on outbound connections; what HANDLE is on
 * Windows is an untyped pointer here. A failure, an exception included, leaves nothing open. What
 * \a token holds then doesn't count.
 *
 * On Windows the token is that of a new-credentials logon. Elsewhere it is a number that this
 * process never uses again, and the logon doesn't fail: the caller keeps the credentials.
 *
 * \return whether the token was opened
 */
bool openLogonToken(const std::wstring& user, const std::wstring& password, void** token);

/** Closes a token that openLogonToken() opened. */
void closeLogonToken(void* token) noexcept;

} // namespace kel
#endif
