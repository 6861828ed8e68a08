#include <Quarn/platform/Trash_p.h>

#include <Quarn/platform/linux/DirectoryEntries_p.h>
#include <Quarn/platform/linux/FolderRemoval_p.h>
#include <Quarn/platform/linux/FreeRename_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>
#include <Quarn/platform/linux/trash/TrashFolders_p.h>
#include <Quarn/platform/linux/trash/TrashInfo_p.h>

#include <QFile>

#include <fcntl.h>
#include <mntent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>
#include <new>
#include <set>
#include <tuple>

namespace kel {
namespace {

constexpr int pathFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/** A trash with what it holds. */
struct Trash
{
    OpenTrash folder;
    QByteArray base; // what relative paths are relative to, with a slash at its end
    bool inHome;
    FileDescriptor files;
    FileDescriptor infos;
};

class Trashes
{
public:
    Trashes()
    {
        openHome();
        openMounted();
    }

    /** Why the one in the home cannot be opened; 0 also when there is none. */
    int homeError() const { return m_homeError; }

    std::vector<Trash>::const_iterator begin() const { return m_trashes.begin(); }
    std::vector<Trash>::const_iterator end() const { return m_trashes.end(); }

private:
    void openHome()
    {
        const QByteArray path = homeTrashPath().chopped(1);
        OpenTrash home{FileDescriptor(::open(path.constData(), pathFlags)), path};
        const int error = home.folder.isOpen() ? add(std::move(home), true) : errno;
        m_homeError = error == ENOENT ? 0 : error;
    }

    void openMounted()
    {
        constexpr int longestLine = 16384; // two paths, in which a blank takes four characters
        const std::unique_ptr<FILE, decltype(&::endmntent)> mounts(
            ::setmntent("/proc/self/mounts", "re"), &::endmntent);
        if (!mounts && errno == ENOMEM)
            throw std::bad_alloc(); // rather than to pass over some
        QByteArray line(longestLine, Qt::Uninitialized);
        mntent mount;
        while (mounts && ::getmntent_r(mounts.get(), &mount, line.data(), longestLine)) {
            if (qstrcmp(mount.mnt_type, "autofs") == 0) // it would be mounted for that
                continue;
            const FileDescriptor top(::open(mount.mnt_dir, pathFlags));
            const QByteArray path = qstrcmp(mount.mnt_dir, "/") == 0 ? "" : mount.mnt_dir;
            if (top.isOpen()) {
                add(openSharedTrash(top, path, nullptr), false, path + '/');
                add(openOwnTrash(top, path, nullptr), false, path + '/');
            }
        }
    }

    int add(OpenTrash folder, bool inHome, const QByteArray& base = QByteArray())
    {
        struct stat status;
        if (!folder.folder.readStatus(status))
            return errno;
        if (!m_known.emplace(status.st_dev, status.st_ino).second) // by another mount
            return 0;
        FileDescriptor files(::openat(folder.folder.get(), "files", folderFlags));
        if (!files.isOpen())
            return errno;
        FileDescriptor infos(::openat(folder.folder.get(), "info", folderFlags));
        if (!infos.isOpen() && errno != ENOENT) // where nothing is noted, nothing has to be
            return errno;
        const QByteArray above = folder.path.left(folder.path.lastIndexOf('/') + 1);
        m_trashes.push_back(
            {std::move(folder), inHome ? above : base, inHome, std::move(files), std::move(infos)});
        return 0;
    }

    int m_homeError = 0;
    std::vector<Trash> m_trashes;
    std::set<std::pair<dev_t, ino_t>> m_known;
};

/** Reads what is noted of the item \a name, if that is there and may be read; 0 or the error number. */
int readInfo(const Trash& trash, const QByteArray& name, TrashInfo& info)
{
    constexpr int largestInfo = 65536;
    const int descriptor = ::openat(trash.infos.get(), (name + TrashInfo::suffix).constData(),
                                    O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0 && !trash.infos.isOpen())
        return 0;
    if (descriptor < 0)
        return isOneOf(errno, {ENOENT, EACCES, ELOOP}) ? 0 : errno;
    QFile file;
    file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    info = TrashInfo::fromText(file.read(largestInfo));
    return file.error() == QFileDevice::NoError ? 0 : EIO;
}

/** Somebody else may have written what leads out of a file system that was plugged in. */
QByteArray originalPath(const Trash& trash, const QByteArray& recorded)
{
    const bool absolute = recorded.startsWith('/');
    if (recorded.isEmpty() || recorded.contains('\0') || (absolute && !trash.inHome)
        || (!absolute && recorded.split('/').contains("..")))
        return QByteArray();
    return absolute ? recorded : trash.base + recorded;
}

QByteArray pathIn(const Trash& trash, const QByteArray& name)
{
    return trash.folder.path + "/files/" + name;
}

int list(const Trash& trash, QList<TrashEntry>& result)
{
    std::vector<DirectoryEntry> entries;
    int error = listDirectory(trash.files.get(), entries);
    for (const DirectoryEntry& entry : entries) {
        TrashInfo info;
        const int failure = readInfo(trash, entry.name, info);
        error = error != 0 ? error : failure;
        result << TrashEntry{QFile::decodeName(pathIn(trash, entry.name)),
                             QFile::decodeName(originalPath(trash, info.path)), info.deletionDate};
    }
    return error;
}

void empty(const Trash& trash, QList<TrashFailure>& failures)
{
    std::vector<DirectoryEntry> entries;
    int error = listDirectory(trash.files.get(), entries);
    if (error != 0)
        failures << TrashFailure{QFile::decodeName(trash.folder.path), error};
    for (const DirectoryEntry& entry : entries) {
        error = removeAll(trash.files.get(), entry.name);
        if (error == 0)
            ::unlinkat(trash.infos.get(), (entry.name + TrashInfo::suffix).constData(), 0);
        else
            failures << TrashFailure{QFile::decodeName(pathIn(trash, entry.name)), error};
    }
    ::unlinkat(trash.folder.folder.get(), "directorysizes", 0); // made again when needed
}

/**
 * Removes the notes of items that are gone. One that is new may be of somebody who has not put the
 * item there yet.
 */
void removeOldNotes(const Trash& trash)
{
    constexpr time_t longEnough = 3600;
    const QByteArray suffix(TrashInfo::suffix);
    struct stat status;
    std::vector<DirectoryEntry> infos;
    listDirectory(trash.infos.get(), infos);
    for (const DirectoryEntry& info : infos) {
        const QByteArray name = info.name.chopped(std::min(info.name.size(), suffix.size()));
        const char* const infoName = info.name.constData();
        if (info.name.endsWith(suffix)
            && ::fstatat(trash.infos.get(), infoName, &status, AT_SYMLINK_NOFOLLOW) == 0
            && status.st_mtime < std::time(nullptr) - longEnough
            && ::fstatat(trash.files.get(), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0
            && errno == ENOENT)
            ::unlinkat(trash.infos.get(), infoName, 0);
    }
}

} // namespace

int listTrash(QList<TrashEntry>& entries)
{
    const Trashes trashes;
    int error = trashes.homeError();
    for (const Trash& trash : trashes) {
        const int failure = list(trash, entries);
        if ((trash.inHome || failure == ENOMEM) && error == 0)
            error = failure;
    }
    return error;
}

int restoreFromTrash(const QString& path, const QString& target)
{
    const auto parts = [](const QByteArray& whole) {
        const auto slash = whole.lastIndexOf('/');
        return std::make_tuple(whole.left(slash + 1), whole.mid(slash + 1));
    };
    const auto [filesPath, name] = parts(systemPath(path));
    const auto [folderPath, targetName] = parts(systemPath(target));
    if (!filesPath.endsWith("/files/") || targetName.isEmpty())
        return EINVAL;
    const FileDescriptor files(::open(filesPath.chopped(1).constData(), folderFlags));
    struct stat status;
    if (!files.isOpen()
        || ::fstatat(files.get(), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno;
    const FileDescriptor infos(::openat(files.get(), "../info", folderFlags));
    if (!infos.isOpen() && errno != ENOENT)
        return errno;
    FolderMaker maker;
    QByteArray existing = folderPath;
    FileDescriptor lowest = openLowest(existing);
    if (!lowest.isOpen())
        return errno;
    const FileDescriptor folder
        = maker.openPath(std::move(lowest), folderPath.mid(existing.size()), 0777);
    if (!folder.isOpen())
        return errno;
    const int error
        = renameToFreeName(files.get(), name.constData(), folder.get(), targetName.constData());
    // A size that desktops may have noted of it holds only as long as there is this file, too.
    if (error == 0)
        ::unlinkat(infos.get(), (name + TrashInfo::suffix).constData(), 0);
    return error;
}

QList<TrashFailure> emptyTrash()
{
    QList<TrashFailure> failures;
    const Trashes trashes;
    if (trashes.homeError() != 0)
        failures << TrashFailure{QFile::decodeName(homeTrashPath().chopped(1)),
                                 trashes.homeError()};
    for (const Trash& trash : trashes) {
        empty(trash, failures);
        removeOldNotes(trash);
    }
    return failures;
}

} // namespace kel
