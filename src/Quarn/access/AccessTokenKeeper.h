#ifndef QUARN_ACCESS_ACCESSTOKENKEEPER_H
#define QUARN_ACCESS_ACCESSTOKENKEEPER_H

#include <Quarn/quarn_export.h>

#include <memory>
#include <string>

namespace kel {

/**
 * \brief A cache of logon tokens: each user is logged on once, and again when the password changes.
 *
 * A token keeps the caller's identity on this machine and presents the user's credentials on
 * outbound connections: on Windows, what LogonUserW answers for LOGON32_LOGON_NEW_CREDENTIALS.
 * Elsewhere it only stands for the credentials, in this process.
 *
 *     kel::AccessTokenKeeper* const keeper = kel::AccessTokenKeeper::instance();
 *     void* const token = keeper->getLoggedOnToken(L"backup", user, password);
 *     if (token == kel::AccessTokenKeeper::noToken)
 *         return false;
 *
 * \par Ownership
 * The keeper owns every token that it hands out and closes it when another password replaces it,
 * when it is told to, or with itself. Callers never close one. Whoever holds on to a token asks
 * isTokenValid() before using it again.
 *
 * \par Passwords
 * They are kept in memory that is left out of core dumps, locked as far as the process may, and
 * wiped. The strings that the caller keeps are the caller's to wipe.
 *
 * \par Threads
 * Every call may come from any thread, but the destructor and killInstance(), which end the keeper
 * for all. One logon runs at a time, and other callers wait for it. A password change is written
 * to the log meanwhile, so the log's stream, or message handler, must not call the keeper.
 */
class QUARN_EXPORT AccessTokenKeeper
{
public:
    /** What a failed logon answers: Windows' INVALID_HANDLE_VALUE, (void*)-1, on every system. */
    static void* const noToken;

    /** A keeper of its own, which knows nothing of the tokens of others. */
    AccessTokenKeeper();
    AccessTokenKeeper(const AccessTokenKeeper&) = delete;
    AccessTokenKeeper& operator=(const AccessTokenKeeper&) = delete;
    /** Closes all tokens. */
    ~AccessTokenKeeper();

    /** The keeper of the process, made by the first call. It lives until killInstance(). */
    static AccessTokenKeeper* instance();

    /** Destroys the keeper of the process, if there is one; the next instance() is a new one. */
    static void killInstance();

    /**
     * The token of \a user, logged on with \a password if it isn't yet. \a scope tells apart
     * tokens of one user that are to be separate. Scope, user and password are compared exactly,
     * letter case included.
     *
     * A \a password other than the last one closes the user's token in this scope, which is from
     * then on invalid, writes a warning to the log, and logs on anew. Whatever the log's stream
     * throws is dropped. A failed logon leaves nothing behind, so that the next call tries again.
     *
     * \return the token; noToken when the logon failed
     * \throws std::bad_alloc when memory is short; no token is lost by it
     */
    [[nodiscard]] void* getLoggedOnToken(std::wstring scope, std::wstring user,
                                         std::wstring password);

    /** False when \a token was replaced, forgotten or cleared; true for everything else. */
    [[nodiscard]] bool isTokenValid(void* token) const;

    /**
     * Closes the token of \a user in \a scope, which is from then on invalid, and wipes its password.
     * Other tokens stay.
     *
     * \return false when there is none
     * \throws std::bad_alloc when memory is short; the token stays
     */
    bool forget(const std::wstring& scope, const std::wstring& user);

    /**
     * Closes all tokens, which are from then on invalid, and wipes their passwords.
     *
     * \throws std::bad_alloc when memory is short; all tokens stay
     */
    void clear();

private:
    class QUARN_NO_EXPORT Tokens;

    static AccessTokenKeeper* m_instance;

    std::unique_ptr<Tokens> m_tokens;
};

} // namespace kel
#endif
