#ifndef QUARN_PLATFORM_LOGON_P_H
#define QUARN_PLATFORM_LOGON_P_H

#include <Quarn/quarn_export.h>

#include <string>

namespace kel {

/** How a logon token is got and given back; what HANDLE is on Windows is an untyped pointer here. */
struct LogonFunctions
{
    /**
     * Opens a token that stands for \a user with \a password on outbound connections, and answers
     * whether it did. A failure, an exception included, leaves nothing open. What \a token holds
     * then doesn't count.
     */
    bool (*logOn)(const std::wstring& user, const std::wstring& password, void** token);

    /** Closes a token that logOn() opened. */
    void (*close)(void* token) noexcept;
};

/** What a failed logon answers: INVALID_HANDLE_VALUE. */
void* invalidToken() noexcept;

/**
 * The functions of the system.
 *
 * On Windows the token is that of a new-credentials logon. Elsewhere it is an object of this
 * process that keeps the credentials in secret memory until it is closed, the logon fails only
 * with std::bad_alloc, and a token's value is never used again.
 */
QUARN_EXPORT const LogonFunctions& systemLogonFunctions();

/** Those of the system, or what a test put in their place. */
const LogonFunctions& logonFunctions();

/**
 * For tests: what keepers that are made from now on use, null for the functions of the system.
 * Borrowed for as long as those keepers live.
 */
QUARN_EXPORT void replaceLogonFunctions(const LogonFunctions* functions);

} // namespace kel
#endif
