#include <Quarn/platform/linux/ByteCopier_p.h>

#include <Quarn/platform/linux/SystemCalls_p.h>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace kel {
namespace {

constexpr qint64 pieceSize
    = 4 << 20; // a slow disk takes 40 ms for it, a cancel has to wait so long
constexpr qint64 bufferSize = 128 << 10;
constexpr qint64 smallFile = 64 << 10; // up to here two plain calls are faster

EntryCopier::Outcome failure(FileStep step, int error = errno)
{
    return {error, step, false};
}

} // namespace

ByteCopier::Outcome ByteCopier::copy(int source, const struct stat& status, int target,
                                     const Transferred& transferred)
{
    m_source = source;
    m_target = target;
    m_flushing = 0;
    m_transferred = &transferred;
    constexpr qint64 block = 512;
    const qint64 size = status.st_size;
    if (size == 0) // or a file that the kernel makes up
        return copyRange(0, std::numeric_limits<qint64>::max());
    if (size > smallFile && clone(source, status, target))
        return cloned(size);
    return status.st_blocks * block < size ? copySparse(size) : copyRange(0, size);
}

/** Has both files share their blocks until one of them is changed. */
bool ByteCopier::clone(int source, const struct stat& status, int target)
{
    struct stat made;
    if (::fstat(target, &made) != 0)
        return false;
    if (m_from != status.st_dev || m_to != made.st_dev) {
        m_from = status.st_dev;
        m_to = made.st_dev;
        m_clones = true;
    }
    if (m_clones && ::ioctl(target, FICLONE, source) != 0)
        m_clones = false;
    return m_clones;
}

ByteCopier::Outcome ByteCopier::cloned(qint64 size)
{
    struct stat made; // what is there now may be more or less than a moment ago
    if (::fstat(m_target, &made) != 0 || (made.st_size > size && ::ftruncate(m_target, size) != 0))
        return failure(FileStep::Write);
    return written(0, std::min<qint64>(size, made.st_size));
}

ByteCopier::Outcome ByteCopier::copySparse(qint64 size)
{
    qint64 at = 0;
    while (at < size) {
        qint64 begin = ::lseek(m_source, at, SEEK_DATA);
        if (begin < 0 && errno == ENXIO)
            break; // nothing but a hole
        qint64 end = begin < 0 ? -1 : ::lseek(m_source, begin, SEEK_HOLE);
        if (end < 0 && !isOneOf(errno, {EINVAL, ENXIO}))
            return failure(FileStep::Read);
        if (end < 0) { // it doesn't know holes
            begin = at;
            end = size;
        }
        const Outcome outcome = copyRange(begin, std::min(end, size));
        if (!outcome.ok())
            return outcome;
        if (begin > at && !(*m_transferred)(begin - at))
            return {systemError::none, FileStep::Write, true};
        at = std::min(end, size);
    }
    if (at < size && !(*m_transferred)(size - at))
        return {systemError::none, FileStep::Write, true};
    struct stat now;
    if (::fstat(m_source, &now) != 0)
        return failure(FileStep::Read);
    const bool ended = ::ftruncate(m_target, std::min<qint64>(size, now.st_size)) == 0;
    return ended ? Outcome() : failure(FileStep::Write);
}

ByteCopier::Outcome ByteCopier::copyRange(qint64 from, qint64 to)
{
    qint64 at = from;
    if (to - from > smallFile && to < std::numeric_limits<qint64>::max()) {
        const Outcome outcome = copyByKernel(at, to);
        if (!outcome.ok())
            return outcome;
    }
    // What is left. It shows also whether that is the end, and of which file a failure was.
    return copyByBuffer(at, to);
}

/** As far as the kernel can; its failures don't say which file they are of. */
ByteCopier::Outcome ByteCopier::copyByKernel(qint64& at, qint64 to)
{
    while (at < to) {
        off64_t in = at;
        off64_t out = at;
        const auto wanted = std::size_t(std::min(to - at, pieceSize));
        const ssize_t count
            = retried([&] { return ::copy_file_range(m_source, &in, m_target, &out, wanted, 0); });
        if (count <= 0)
            break;
        at += count;
        const Outcome outcome = written(at - count, count);
        if (!outcome.ok())
            return outcome;
    }
    return Outcome();
}

ByteCopier::Outcome ByteCopier::copyByBuffer(qint64& at, qint64 to)
{
    m_buffer.resize(std::size_t(bufferSize));
    qint64 told = at;
    while (at < to) {
        const auto wanted = std::size_t(std::min(to - at, bufferSize));
        const ssize_t count
            = retried([&] { return ::pread(m_source, m_buffer.data(), wanted, at); });
        if (count < 0)
            return failure(FileStep::Read);
        if (count == 0)
            break;
        for (ssize_t done = 0; done < count;) {
            const ssize_t taken = retried([&] {
                return ::pwrite(m_target, m_buffer.data() + done, std::size_t(count - done),
                                at + done);
            });
            if (taken <= 0)
                return failure(FileStep::Write, taken == 0 ? ENOSPC : errno);
            done += taken;
        }
        at += count;
        const bool tells = at - told >= pieceSize || at == to;
        const Outcome outcome = tells ? written(told, at - told) : Outcome();
        if (!outcome.ok())
            return outcome;
        told = tells ? at : told;
    }
    return at > told ? written(told, at - told) : Outcome();
}

/**
 * Tells of \a count bytes. Those to be synced are sent to the disk right away, and those before them
 * are waited for, so that little is left to do at the end, which cannot be cancelled.
 */
ByteCopier::Outcome ByteCopier::written(qint64 from, qint64 count)
{
    if (m_synced && from + count - m_flushing >= pieceSize) {
        constexpr unsigned wait
            = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
        const bool going
            = ::sync_file_range(m_target, from, count, SYNC_FILE_RANGE_WRITE) == 0
              && (from == m_flushing
                  || ::sync_file_range(m_target, m_flushing, from - m_flushing, wait) == 0);
        if (!going && isOneOf(errno, {EIO, ENOSPC, EDQUOT}))
            return failure(FileStep::Write);
        m_flushing = from;
    }
    return {systemError::none, FileStep::Write, !(*m_transferred)(count)};
}

} // namespace kel
