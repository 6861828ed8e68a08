#include <Quarn/platform/linux/DirectoryEntries_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>

namespace kel {
namespace {

struct CloseDirectory
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};

mode_t typeOf(int folder, const dirent& entry)
{
    if (entry.d_type != DT_UNKNOWN)
        return DTTOIF(entry.d_type);
    struct stat status;
    return ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0
               ? status.st_mode & S_IFMT
               : 0;
}

} // namespace

int listDirectory(int folder, std::vector<DirectoryEntry>& entries)
{
    FileDescriptor copy(::fcntl(folder, F_DUPFD_CLOEXEC, 0));
    const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(copy.get()));
    if (!directory)
        return errno;
    copy.release();
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(directory.get());
        if (!entry)
            return errno;
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            entries.push_back({name, typeOf(folder, *entry)});
    }
}

} // namespace kel
