#include <Quarn/platform/Trash_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/FreeRename_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>
#include <Quarn/platform/linux/trash/TrashFolders_p.h>
#include <Quarn/platform/linux/trash/TrashInfo_p.h>

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

namespace kel {
namespace {

/** Where a rename stays inside; a bind mount has the device, but not the number, of its source. */
struct Mount
{
    quint32 major;
    quint32 minor;
    quint64 number;

    bool operator==(const Mount& other) const
    {
        return std::tie(major, minor, number) == std::tie(other.major, other.minor, other.number);
    }
};

/** What is to be moved: \a name in the open folder. */
struct Item
{
    QByteArray path; // as the caller knows it
    QByteArray name;
    FileDescriptor folder;
    Mount mount;
};

std::optional<Mount> mountOf(const FileDescriptor& folder)
{
    struct statx status = {};
    if (::statx(folder.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &status) != 0)
        return std::nullopt;
    const quint64 number = (status.stx_mask & STATX_MNT_ID) ? status.stx_mnt_id : 0;
    return Mount{status.stx_dev_major, status.stx_dev_minor, number};
}

std::optional<Item> findItem(const QByteArray& path)
{
    const auto slash = path.lastIndexOf('/');
    const QByteArray name = path.mid(slash + 1);
    if (slash < 0 || name.isEmpty()) {
        errno = ENOENT;
        return std::nullopt;
    }
    FileDescriptor folder(
        ::open(path.left(slash + 1).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::optional<Mount> mount = mountOf(folder);
    struct stat status;
    if (!mount || ::fstatat(folder.get(), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return Item{path, name, std::move(folder), *mount};
}

/** \return 0 or the error number */
int writeAndClose(FileDescriptor file, const QByteArray& text)
{
    const ssize_t count = ::write(file.get(), text.constData(), size_t(text.size()));
    if (count != text.size())
        return count < 0 ? errno : ENOSPC; // of which a short count is the beginning
    return ::close(file.release()) == 0 ? 0 : errno;
}

/**
 * Moves \a item into the open \a trash, with \a recordedPath as where it was.
 *
 * \return 0 or the error number
 */
int put(const Item& item, const QByteArray& recordedPath, const OpenTrash& trash,
        FolderMaker& maker, QByteArray* path)
{
    constexpr int maxAttempts = 1000;
    constexpr int shortestLimit = 64; // leaves room for numbers and extensions
    const FileDescriptor files = maker.open(trash.folder, "files", S_IRWXU);
    if (!files.isOpen())
        return errno;
    const FileDescriptor infos = maker.open(trash.folder, "info", S_IRWXU);
    if (!infos.isOpen())
        return errno;
    const long limit = ::fpathconf(infos.get(), _PC_NAME_MAX);
    const int longest = int(std::clamp(limit, long(shortestLimit), long(NAME_MAX)));
    const TrashInfo trashInfo = {recordedPath, QDateTime::currentDateTime()};
    for (int attempt = 1; attempt <= maxAttempts; ++attempt) {
        const QByteArray name = trashName(item.name, attempt, longest);
        const QByteArray infoName = name + TrashInfo::suffix;
        FileDescriptor info(::openat(infos.get(), infoName.constData(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!info.isOpen() && errno == EEXIST)
            continue;
        if (!info.isOpen())
            return errno;
        int error = writeAndClose(std::move(info), trashInfo.text());
        if (error == 0)
            error = renameToFreeName(item.folder.get(), item.name.constData(), files.get(),
                                     name.constData());
        if (error != 0)
            ::unlinkat(infos.get(), infoName.constData(), 0);
        if (error == 0)
            *path = trash.path + "/files/" + name;
        if (error != EEXIST)
            return error;
    }
    return EEXIST;
}

int moveToHomeTrash(const Item& item, QByteArray* inTrash)
{
    FolderMaker maker;
    const QByteArray path = homeTrashPath();
    QByteArray existing = path;
    FileDescriptor lowest = openLowest(existing);
    const std::optional<Mount> mount = mountOf(lowest);
    if (!mount)
        return errno;
    if (!(*mount == item.mount))
        return EXDEV;
    const OpenTrash trash{maker.openPath(std::move(lowest), path.mid(existing.size()), S_IRWXU),
                          path.chopped(1)};
    return trash.folder.isOpen() ? put(item, item.path, trash, maker, inTrash) : errno;
}

/** Moves \a item to a trash at the top of its file system, recorded relative to that top. */
int moveToTopTrash(const Item& item, QByteArray* inTrash)
{
    const QByteArray given = item.path.left(item.path.size() - item.name.size());
    const std::unique_ptr<char, decltype(&std::free)> folder(::realpath(given.constData(), nullptr),
                                                             &std::free);
    FileDescriptor top(::openat(item.folder.get(), ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder || !top.isOpen())
        return errno;
    QByteArray recordedPath = item.name;
    QByteArray topPath(folder.get());
    while (topPath.size() > 1) {
        FileDescriptor above(::openat(top.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
        const std::optional<Mount> mount = mountOf(above);
        if (!mount || !(*mount == item.mount))
            break;
        const auto slash = topPath.lastIndexOf('/');
        recordedPath.prepend(topPath.mid(slash + 1) + '/');
        topPath.truncate(slash);
        top = std::move(above);
    }
    FolderMaker maker;
    OpenTrash trash = openSharedTrash(top, topPath, &maker);
    if (!trash.folder.isOpen())
        trash = openOwnTrash(top, topPath, &maker);
    return trash.folder.isOpen() ? put(item, recordedPath, trash, maker, inTrash) : errno;
}

} // namespace

TrashOutcome moveToTrash(const QString& path)
{
    // Somebody whose move failed may take away the folders that he made, after they were found.
    constexpr int maxAttempts = 100;
    QByteArray inTrash;
    int error = ENOENT;
    for (int attempt = 0; error == ENOENT && attempt < maxAttempts; ++attempt) {
        const std::optional<Item> item = findItem(systemPath(path));
        if (!item)
            return {errno, QString()};
        error = moveToHomeTrash(*item, &inTrash);
        if (error == EXDEV)
            error = moveToTopTrash(*item, &inTrash);
    }
    return {error, QFile::decodeName(inTrash)};
}

} // namespace kel
