#ifndef QUARN_SIGNATURE_ERRORMARK_P_H
#define QUARN_SIGNATURE_ERRORMARK_P_H

#include <Quarn/platform/CryptoThreads_p.h>

#include <openssl/err.h>

namespace kel {

/**
 * Takes back what a call adds to OpenSSL's error queue, and leaves what others put there: of the 15
 * entries that the queue has room for, as many as the call leaves.
 */
class ErrorMark
{
public:
    ErrorMark()
    {
        freeCryptoStateWithThreads();
        ERR_set_mark();
    }
    ErrorMark(const ErrorMark&) = delete;
    ErrorMark& operator=(const ErrorMark&) = delete;
    ~ErrorMark() { ERR_pop_to_mark(); }

    /** Takes back what was added so far: another attempt would fill the queue. */
    void renew()
    {
        ERR_pop_to_mark();
        ERR_set_mark();
    }
};

} // namespace kel
#endif
