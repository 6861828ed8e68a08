#include <Quarn/platform/linux/DirectoryEntries_p.h>

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

bool isDots(const char* name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

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

int visitDirectory(FileDescriptor folder, const DirectoryVisitor& visit)
{
    const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(folder.get()));
    if (!directory)
        return errno;
    const int descriptor = folder.release();
    for (;;) {
        errno = 0; // the end is no error
        const dirent* const entry = ::readdir(directory.get());
        if (!entry)
            return errno;
        if (!isDots(entry->d_name) && !visit(entry->d_name, typeOf(descriptor, *entry)))
            return 0;
    }
}

int listDirectory(int folder, std::vector<DirectoryEntry>& entries)
{
    return visitDirectory(FileDescriptor(::fcntl(folder, F_DUPFD_CLOEXEC, 0)),
                          [&](const char* name, mode_t type) {
                              entries.push_back({name, type});
                              return true;
                          });
}

} // namespace kel
