#ifndef QUARN_PLATFORM_PROCESSEND_P_H
#define QUARN_PLATFORM_PROCESSEND_P_H

namespace kel {

/**
 * Whether all threads but this one have been ended, wherever they were, because the process is about
 * to end: nothing that they hold comes free any more.
 */
bool otherThreadsHaveEnded();

} // namespace kel
#endif
