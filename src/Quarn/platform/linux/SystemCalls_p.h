#ifndef QUARN_PLATFORM_LINUX_SYSTEMCALLS_P_H
#define QUARN_PLATFORM_LINUX_SYSTEMCALLS_P_H

#include <cerrno>
#include <initializer_list>

namespace kel {

/** What \a call answers when no signal interrupts it. */
template <typename Call>
auto retried(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

bool isOneOf(int error, std::initializer_list<int> errors);

/** Whether \a error says that there is no such attribute, or that the file system has none at all. */
bool isWithoutAttribute(int error);

/** Whether what was written to the open \a file is on the disk; some files cannot tell. */
bool isSynchronized(int file);

} // namespace kel
#endif
