#include <Quarn/platform/linux/SystemCalls_p.h>

#include <unistd.h>

#include <algorithm>

namespace kel {

bool isOneOf(int error, std::initializer_list<int> errors)
{
    return std::find(errors.begin(), errors.end(), error) != errors.end();
}

bool isWithoutAttribute(int error)
{
    return isOneOf(error, {ENODATA, ENOTSUP, ENOSYS});
}

bool isSynchronized(int file)
{
    return retried([file] { return ::fsync(file); }) == 0 || isOneOf(errno, {EINVAL, ENOTSUP});
}

} // namespace kel
