#include <Quarn/platform/TargetFile_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace kel {
namespace {

/** Opens the file at \a path as QFile does, but without emptying it. */
FileDescriptor openForWriting(const QString& path)
{
    const QByteArray name = systemPath(path);
    return FileDescriptor(retried([&] { // as a signal ends the wait for a pipe's reader
        return ::open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    }));
}

/** Whether \a source is the file with the \a target status, as far as can be found out. */
bool mayBe(const QFileDevice& source, const struct stat& target)
{
    struct stat status;
    const int handle = source.handle();
    const bool known = handle >= 0
                           ? ::fstat(handle, &status) == 0
                           : ::stat(systemPath(source.fileName()).constData(), &status) == 0;
    if (!known)
        return handle >= 0 || !isOneOf(errno, {ENOENT, ENOTDIR});
    return status.st_dev == target.st_dev && status.st_ino == target.st_ino;
}

} // namespace

bool openTarget(QFile& target, QIODevice::OpenMode mode, const QFileDevice* source)
{
    FileDescriptor file = openForWriting(target.fileName());
    struct stat status;
    // Asked of the open file, so nobody can put the source in its place after that.
    if (!file.readStatus(status))
        return false;
    if (S_ISREG(status.st_mode)
        && ((source && mayBe(*source, status)) || ::ftruncate(file.get(), 0) != 0))
        return false;
    return target.open(file.release(), mode, QFileDevice::AutoCloseHandle);
}

} // namespace kel
