#include <Quarn/platform/CryptoThreads_p.h>

#include <openssl/crypto.h>

namespace kel {

void freeCryptoStateWithThreads() noexcept
{
    // exit() would take OpenSSL apart under threads that are still ending, which QThread::wait() and
    // QThreadPool::waitForDone() don't wait for. Where the program was first, it stays as it chose.
    static const int initialised = ::OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    static_cast<void>(initialised);
}

} // namespace kel
