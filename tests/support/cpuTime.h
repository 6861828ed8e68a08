#ifndef QUARN_TESTS_SUPPORT_CPUTIME_H
#define QUARN_TESTS_SUPPORT_CPUTIME_H

#include "support/posix.h"

#include <ctime>

#if QUARN_HAS_POSIX

/** The processor time of this process. */
inline long long cpuMsecs()
{
    return std::clock() / (CLOCKS_PER_SEC / 1000);
}

#else

#include <qt_windows.h>

inline long long cpuMsecs() // std::clock() goes on while the process sleeps
{
    FILETIME begun, ended, system, user;
    GetProcessTimes(GetCurrentProcess(), &begun, &ended, &system, &user);
    return (user.dwLowDateTime + (static_cast<long long>(user.dwHighDateTime) << 32)) / 10000;
}

#endif
#endif
