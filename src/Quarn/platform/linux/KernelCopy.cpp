#include <Quarn/platform/KernelCopy_p.h>

#include <Quarn/platform/linux/SystemCalls_p.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace kel {
namespace {

constexpr qint64 mostAtOnce = 1 << 30;

/** Ranges of one file may overlap, which the system only sees within one call. */
bool areTwoFiles(int one, int other)
{
    struct stat first;
    struct stat second;
    return ::fstat(one, &first) == 0 && ::fstat(other, &second) == 0
           && (first.st_dev != second.st_dev || first.st_ino != second.st_ino);
}

} // namespace

qint64 kernelCopy(int source, qint64 sourcePosition, int destination, qint64 destinationPosition,
                  qint64 length)
{
    if (!areTwoFiles(source, destination))
        return 0;
    off_t from = sourcePosition;
    off_t to = destinationPosition;
    qint64 copied = 0;
    while (copied < length) {
        const auto wanted = std::size_t(std::min(length - copied, mostAtOnce));
        const ssize_t count = retried(
            [&] { return ::copy_file_range(source, &from, destination, &to, wanted, 0); });
        if (count <= 0)
            break;
        copied += count;
    }
    return copied;
}

} // namespace kel
