#include <Quarn/platform/linux/CommentSidecar_p.h>

#include <Quarn/platform/linux/NewFile_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace kel {
namespace {

constexpr int smallestPiece = 65536;
constexpr int largestComment = 1 << 30; // what fits into a QString of either Qt

/**
 * Whether \a sidecar, a file that anybody may have created, was written by somebody who may write
 * \a file, as far as its owner tells.
 */
bool isGenuine(const struct stat& sidecar, const struct stat& file)
{
    return S_ISREG(sidecar.st_mode)
           && (sidecar.st_uid == file.st_uid || sidecar.st_uid == 0 || sidecar.st_uid == ::geteuid()
               || (file.st_mode & (S_IWGRP | S_IWOTH)) != 0);
}

/** Everything in \a file; nothing when a read fails, rather than the beginning. */
QByteArray readAll(int file)
{
    QByteArray bytes;
    int size = 0;
    while (size < largestComment) {
        if (size == bytes.size())
            bytes.resize(std::max(2 * size, smallestPiece));
        const auto count = retried(
            [&] { return ::read(file, bytes.data() + size, std::size_t(bytes.size() - size)); });
        if (count == 0)
            return bytes.left(size);
        if (count < 0)
            break;
        size += int(count);
    }
    return QByteArray();
}

bool writeAll(int file, const QByteArray& bytes)
{
    const char* next = bytes.constData();
    const char* const end = next + bytes.size();
    while (next < end) {
        const auto count = retried([&] { return ::write(file, next, std::size_t(end - next)); });
        if (count <= 0)
            return false;
        next += count;
    }
    return true;
}

} // namespace

CommentSidecar::CommentSidecar(const QByteArray& file, const QByteArray& suffix)
    : CommentSidecar(FileDescriptor(), file.mid(file.lastIndexOf('/') + 1), suffix)
{
    if (!m_file.isEmpty())
        m_folder = FileDescriptor(::open(file.left(file.lastIndexOf('/') + 1).constData(),
                                         O_PATH | O_DIRECTORY | O_CLOEXEC));
}

CommentSidecar::CommentSidecar(FileDescriptor folder, const QByteArray& file,
                               const QByteArray& suffix)
    : m_folder(std::move(folder)), m_file(file), m_names(namesFor(file, suffix))
{ }

bool CommentSidecar::standsInAfter(int error)
{
    return isOneOf(error, {ENOTSUP, ENOSYS, ENOSPC, EDQUOT, E2BIG, ERANGE});
}

CommentSidecar::Names CommentSidecar::namesFor(const QByteArray& file, const QByteArray& suffix)
{
    return {file + suffix, file + QByteArray(suffix).replace(':', ';')};
}

QByteArray CommentSidecar::read() const
{
    struct stat file;
    return statusOfFile(file) ? readOf(file) : QByteArray();
}

QByteArray CommentSidecar::readOf(const struct stat& file) const
{
    struct stat sidecar;
    for (const QByteArray& name : m_names) {
        // A pipe would block.
        const FileDescriptor opened(
            ::openat(m_folder.get(), name.constData(),
                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (opened.readStatus(sidecar) && isGenuine(sidecar, file))
            return readAll(opened.get());
    }
    return QByteArray();
}

bool CommentSidecar::replace(const QByteArray& comment)
{
    struct stat file;
    const QByteArray temporary = newName(".comment-");
    if (!statusOfFile(file))
        return false;
    FileDescriptor opened(::openat(m_folder.get(), temporary.constData(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                   S_IRUSR | S_IWUSR));
    if (!opened.isOpen())
        return false;
    removeInheritedAccess(opened.get(), false);
    shareAs(file, opened.get(), 0666); // or with fewer, where the file system cannot do that
    // Some file systems tell of a full disk only when the bytes go there, or at the closing.
    const bool written = writeAll(opened.get(), comment) && isSynchronized(opened.get())
                         && ::close(opened.release()) == 0;
    const bool published = written && publish(temporary);
    if (!published)
        ::unlinkat(m_folder.get(), temporary.constData(), 0);
    return published;
}

bool CommentSidecar::remove()
{
    bool removed = true;
    for (const QByteArray& name : m_names) {
        if (::unlinkat(m_folder.get(), name.constData(), 0) != 0 && errno != ENOENT
            && errno != EINVAL) // a name that the file system refuses
            removed = false;
    }
    return removed;
}

bool CommentSidecar::takeFrom(CommentSidecar& former)
{
    struct stat file;
    if (!statusOfFile(file))
        return false;
    const QByteArray comment = former.readOf(file);
    return comment.isEmpty() ? remove() : replace(comment) && former.remove();
}

bool CommentSidecar::statusOfFile(struct stat& status) const
{
    return ::fstatat(m_folder.get(), m_file.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

/** Each file system has its own error for a name that it refuses, but none has such an entry. */
bool CommentSidecar::publish(const QByteArray& temporary)
{
    const int folder = m_folder.get();
    const char* const usual = m_names[0].constData();
    const char* const other = m_names[1].constData();
    struct stat ignored;
    if (::renameat(folder, temporary.constData(), folder, usual) == 0) {
        ::unlinkat(folder, other, 0);
        return true;
    }
    return ::fstatat(folder, usual, &ignored, AT_SYMLINK_NOFOLLOW) != 0
           && ::renameat(folder, temporary.constData(), folder, other) == 0;
}

} // namespace kel
