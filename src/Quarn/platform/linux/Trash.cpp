#include <Quarn/platform/Trash_p.h>

#include <Quarn/platform/SpecialFolders_p.h>
#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QDateTime>
#include <QList>
#include <QRandomGenerator>
#include <QString>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace kel {
namespace {

constexpr char infoSuffix[] = ".trashinfo";

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

/** The folder above \a path, which ends in a slash, as \a path does. */
QByteArray folderAbove(const QByteArray& path)
{
    return path.left(path.lastIndexOf('/', path.size() - 2) + 1);
}

std::optional<Item> findItem(const QByteArray& path)
{
    const auto slash = path.lastIndexOf('/');
    const QByteArray name = path.mid(slash + 1);
    if (slash < 0 || name.isEmpty())
        return std::nullopt;
    FileDescriptor folder(
        ::open(path.left(slash + 1).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::optional<Mount> mount = mountOf(folder);
    struct stat status;
    if (!mount || ::fstatat(folder.get(), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return Item{path, name, std::move(folder), *mount};
}

/**
 * The name for \a name in the trash on the given attempt: the name itself first, then with a number
 * in front of its extension. It is shortened where name and suffix of the info file are too long
 * for the file system, between two characters of UTF-8.
 */
QByteArray trashName(const QByteArray& name, int attempt, int longest)
{
    constexpr int countedAttempts = 100; // random from then on: thousands may share one name
    constexpr int longestExtension = 16;
    QByteArray number;
    if (attempt > 1) {
        const bool counted = attempt <= countedAttempts;
        number = '.'
                 + QByteArray::number(counted ? quint32(attempt)
                                              : QRandomGenerator::global()->generate());
    }
    auto dot = name.lastIndexOf('.');
    if (dot <= 0 || name.size() - dot > longestExtension)
        dot = name.size();
    const QByteArray end = number + name.mid(dot);
    auto room = longest - int(strlen(infoSuffix)) - end.size();
    if (dot > room) {
        while (room > 0 && (uchar(name[room]) & 0xc0) == 0x80)
            --room;
        dot = room;
    }
    return name.left(dot) + end;
}

QByteArray infoText(const QByteArray& path)
{
    return "[Trash Info]\nPath=" + path.toPercentEncoding("/") + "\nDeletionDate="
           + QDateTime::currentDateTime().toString(Qt::ISODate).toLatin1() + '\n';
}

bool writeAndClose(FileDescriptor file, const QByteArray& text)
{
    const bool written = ::write(file.get(), text.constData(), size_t(text.size())) == text.size();
    return ::close(file.release()) == 0 && written;
}

/** Renames, but never over something that is there; 0 or the error number. */
int renameToFreeName(const Item& item, int folder, const QByteArray& name)
{
    const char* const from = item.name.constData();
    if (::renameat2(item.folder.get(), from, folder, name.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // Some file systems cannot do that. Others that use the trash take the info file first, which
    // is ours, so nobody should take the name between these two calls.
    struct stat status;
    if (::fstatat(folder, name.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return EEXIST;
    return ::renameat(item.folder.get(), from, folder, name.constData()) == 0 ? 0 : errno;
}

/** Makes the folders of a trash. Those that nothing was put into go with the object. */
class FolderMaker
{
public:
    FolderMaker() = default;
    ~FolderMaker()
    {
        for (auto made = m_made.crbegin(); made != m_made.crend(); ++made)
            ::unlinkat(made->first.get(), made->second.constData(), AT_REMOVEDIR);
    }
    FolderMaker(const FolderMaker&) = delete;
    FolderMaker& operator=(const FolderMaker&) = delete;

    /** Opens the folder \a name of an open one, after making it for the user alone if needed. */
    FileDescriptor open(const FileDescriptor& parent, const QByteArray& name)
    {
        FileDescriptor kept(::fcntl(parent.get(), F_DUPFD_CLOEXEC, 0));
        if (!kept.isOpen())
            return FileDescriptor();
        if (::mkdirat(parent.get(), name.constData(), S_IRWXU) == 0)
            m_made.emplace_back(std::move(kept), name);
        else if (errno != EEXIST)
            return FileDescriptor();
        return FileDescriptor(::openat(parent.get(), name.constData(),
                                       O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }

private:
    std::vector<std::pair<FileDescriptor, QByteArray>> m_made; // with the folder that each is in
};

/**
 * Moves \a item into the open trash folder, with \a recordedPath as where it was; 0 or the error
 * number.
 */
int put(const Item& item, const QByteArray& recordedPath, const FileDescriptor& trash,
        FolderMaker& maker)
{
    constexpr int maxAttempts = 1000;
    constexpr int shortestLimit = 64; // leaves room for numbers and extensions
    const FileDescriptor files = maker.open(trash, "files");
    if (!files.isOpen())
        return errno;
    const FileDescriptor infos = maker.open(trash, "info");
    if (!infos.isOpen())
        return errno;
    const long limit = ::fpathconf(infos.get(), _PC_NAME_MAX);
    const int longest = int(std::clamp(limit, long(shortestLimit), long(NAME_MAX)));
    for (int attempt = 1; attempt <= maxAttempts; ++attempt) {
        const QByteArray name = trashName(item.name, attempt, longest);
        const QByteArray infoName = name + infoSuffix;
        FileDescriptor info(::openat(infos.get(), infoName.constData(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!info.isOpen() && errno == EEXIST)
            continue;
        if (!info.isOpen())
            return errno;
        const int error = writeAndClose(std::move(info), infoText(recordedPath))
                              ? renameToFreeName(item, files.get(), name)
                              : EIO;
        if (error != 0)
            ::unlinkat(infos.get(), infoName.constData(), 0);
        if (error != EEXIST)
            return error;
    }
    return EEXIST;
}

int moveToHomeTrash(const Item& item)
{
    FolderMaker maker;
    const QByteArray path = folderAbove(systemPath(specialFolder(TrashFolder)) + '/');
    QByteArray existing = path;
    const auto open = [&existing] {
        return FileDescriptor(::open(existing.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    };
    FileDescriptor trash = open();
    while (!trash.isOpen() && errno == ENOENT && existing.size() > 1) {
        existing = folderAbove(existing);
        trash = open();
    }
    const std::optional<Mount> mount = mountOf(trash);
    if (!mount)
        return errno;
    if (!(*mount == item.mount))
        return EXDEV;
    const QList<QByteArray> missing = path.mid(existing.size()).split('/');
    for (const QByteArray& name : missing) {
        if (!name.isEmpty() && trash.isOpen())
            trash = maker.open(trash, name);
    }
    return trash.isOpen() ? put(item, item.path, trash, maker) : errno;
}

/** The user's folder in the trash that all users share; it must not be a trap of one of them. */
FileDescriptor openSharedTrash(const FileDescriptor& top, const QByteArray& user,
                               FolderMaker& maker)
{
    const FileDescriptor shared(
        ::openat(top.get(), ".Trash", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status;
    if (!shared.isOpen() || ::fstat(shared.get(), &status) != 0 || !(status.st_mode & S_ISVTX))
        return FileDescriptor();
    return maker.open(shared, user);
}

bool isOwn(const FileDescriptor& folder)
{
    struct stat status;
    return folder.isOpen() && ::fstat(folder.get(), &status) == 0 && status.st_uid == ::geteuid();
}

/** Moves \a item to a trash at the top of its file system, recorded relative to that top. */
int moveToTopTrash(const Item& item)
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
    const QByteArray user = QByteArray::number(::geteuid());
    FileDescriptor trash = openSharedTrash(top, user, maker);
    if (!isOwn(trash))
        trash = maker.open(top, ".Trash-" + user);
    if (!trash.isOpen())
        return errno;
    return isOwn(trash) ? put(item, recordedPath, trash, maker) : EACCES;
}

} // namespace

bool moveToTrash(const QString& path)
{
    // Somebody whose move failed may take away the folders that he made, after they were found.
    constexpr int maxAttempts = 100;
    int error = ENOENT;
    for (int attempt = 0; error == ENOENT && attempt < maxAttempts; ++attempt) {
        const std::optional<Item> item = findItem(systemPath(path));
        if (!item)
            return false;
        error = moveToHomeTrash(*item);
        if (error == EXDEV)
            error = moveToTopTrash(*item);
    }
    return error == 0;
}

} // namespace kel
