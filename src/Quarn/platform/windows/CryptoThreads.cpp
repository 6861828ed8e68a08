#include <Quarn/platform/CryptoThreads_p.h>

#include <openssl/crypto.h>

#include <windows.h>

namespace kel {

void freeCryptoStateWithThreads() noexcept {
} // the system tells of each thread that ends, see below

} // namespace kel

/** OpenSSL, when it is linked statically, doesn't hear of the threads that end. */
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_THREAD_DETACH)
        ::OPENSSL_thread_stop(); // nothing for threads that never used it
    return TRUE;
}
