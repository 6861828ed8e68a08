#ifndef QUARN_SIGNATURE_AMPLEMEMORY_P_H
#define QUARN_SIGNATURE_AMPLEMEMORY_P_H

#include <openssl/crypto.h>

namespace kel {

/**
 * Whether there is far more memory than OpenSSL takes for a key or a signature. It doesn't tell a
 * refusal from a lack of memory; a refusal with ample memory is one.
 */
inline bool hasAmpleMemory()
{
    void* const memory = OPENSSL_malloc(1 << 18);
    OPENSSL_free(memory);
    return memory;
}

} // namespace kel
#endif
