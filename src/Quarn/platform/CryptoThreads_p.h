#ifndef QUARN_PLATFORM_CRYPTOTHREADS_P_H
#define QUARN_PLATFORM_CRYPTOTHREADS_P_H

namespace kel {

/**
 * Has what OpenSSL keeps for each thread freed as the thread ends, however late that is. Call it before
 * anything else of OpenSSL, as often as you like.
 */
void freeCryptoStateWithThreads() noexcept;

} // namespace kel
#endif
