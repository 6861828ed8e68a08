#ifndef QUARN_PLATFORM_PROCESSEND_P_H
#define QUARN_PLATFORM_PROCESSEND_P_H

namespace kel {

/**
 * Whether all threads but this one have been ended, wherever they were, because the process is about
 * to end: nothing that they hold comes free any more.
 */
bool otherThreadsHaveEnded();

/**
 * Has the program call \a function as it ends by exit() or by returning from main(), while the other
 * threads still run. Does nothing where they run as long as the library's static objects live, whose
 * end is time enough then. Where it does something, the library stays loaded from now on.
 */
void callBeforeThreadsEnd(void (*function)());

} // namespace kel
#endif
