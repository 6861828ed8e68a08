#include <Quarn/platform/Trash_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QStandardPaths>
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

namespace kel {
namespace {

constexpr char infoSuffix[] = ".trashinfo";

enum class Outcome { Moved, Failed, OtherFileSystem };

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
    FileDescriptor folder;
    QByteArray folderPath; // without links, ends in a slash
    QByteArray name;
    QByteArray path; // as the caller knows it
    Mount mount;
};

std::optional<Mount> mountOf(const QByteArray& path)
{
    struct statx status = {};
    if (::statx(AT_FDCWD, path.constData(), 0, STATX_MNT_ID, &status) != 0)
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
    const std::unique_ptr<char, decltype(&std::free)> folder(
        ::realpath(path.left(slash + 1).constData(), nullptr), &std::free);
    if (slash < 0 || slash == path.size() - 1 || !folder)
        return std::nullopt;
    QByteArray folderPath(folder.get());
    if (!folderPath.endsWith('/'))
        folderPath += '/';
    FileDescriptor opened(::open(folderPath.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const QByteArray name = path.mid(slash + 1);
    const std::optional<Mount> mount = mountOf(folderPath);
    struct stat status;
    if (!mount || !opened.isOpen()
        || ::fstatat(opened.get(), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return Item{std::move(opened), folderPath, name, path, *mount};
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

/** Opens the folder \a name of an open one, after making it for the user alone if needed. */
FileDescriptor openOrMakeFolder(int parent, const QByteArray& name)
{
    if (::mkdirat(parent, name.constData(), S_IRWXU) != 0 && errno != EEXIST)
        return FileDescriptor();
    return FileDescriptor(
        ::openat(parent, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/** Moves \a item into the open trash folder, with \a recordedPath as where it was. */
Outcome put(const Item& item, const QByteArray& recordedPath, const FileDescriptor& trash)
{
    constexpr int maxAttempts = 1000;
    constexpr int shortestLimit = 64; // leaves room for numbers and extensions
    const FileDescriptor files = openOrMakeFolder(trash.get(), "files");
    const FileDescriptor infos = openOrMakeFolder(trash.get(), "info");
    if (!files.isOpen() || !infos.isOpen())
        return Outcome::Failed;
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
            return Outcome::Failed;
        const int error = writeAndClose(std::move(info), infoText(recordedPath))
                              ? renameToFreeName(item, files.get(), name)
                              : EIO;
        if (error == 0)
            return Outcome::Moved;
        ::unlinkat(infos.get(), infoName.constData(), 0);
        if (error != EEXIST)
            return error == EXDEV ? Outcome::OtherFileSystem : Outcome::Failed;
    }
    return Outcome::Failed;
}

/** The path of the trash in the home, which need not exist; ends in a slash. */
QByteArray homeTrash()
{
    QString dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (QDir::isRelativePath(dataHome)) // not valid in the environment, but Qt 5 takes it
        dataHome = QDir::homePath() + QStringLiteral("/.local/share");
    return QFile::encodeName(dataHome) + "/Trash/";
}

Outcome moveToHomeTrash(const Item& item)
{
    const QByteArray trashPath = homeTrash();
    QByteArray existing = trashPath;
    std::optional<Mount> mount = mountOf(existing);
    while (!mount && errno == ENOENT && existing.size() > 1) {
        existing = folderAbove(existing);
        mount = mountOf(existing);
    }
    if (!mount)
        return Outcome::Failed;
    if (!(*mount == item.mount))
        return Outcome::OtherFileSystem;
    for (auto slash = existing.size(); slash > 0; slash = trashPath.indexOf('/', slash) + 1)
        ::mkdir(trashPath.left(slash).constData(), S_IRWXU);
    const FileDescriptor trash(::open(trashPath.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return trash.isOpen() ? put(item, item.path, trash) : Outcome::Failed;
}

/** The user's folder in the trash that all users share; it must not be a trap of one of them. */
FileDescriptor openSharedTrash(int top, const QByteArray& user)
{
    const FileDescriptor shared(
        ::openat(top, ".Trash", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status;
    if (!shared.isOpen() || ::fstat(shared.get(), &status) != 0 || !(status.st_mode & S_ISVTX))
        return FileDescriptor();
    return openOrMakeFolder(shared.get(), user);
}

bool isOwn(const FileDescriptor& folder)
{
    struct stat status;
    return folder.isOpen() && ::fstat(folder.get(), &status) == 0 && status.st_uid == ::geteuid();
}

/** Moves \a item to a trash at the top of its file system, recorded relative to that top. */
Outcome moveToTopTrash(const Item& item)
{
    QByteArray topPath = item.folderPath;
    while (topPath.size() > 1) {
        const QByteArray above = folderAbove(topPath);
        const std::optional<Mount> mount = mountOf(above);
        if (!mount || !(*mount == item.mount))
            break;
        topPath = above;
    }
    const FileDescriptor top(::open(topPath.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const QByteArray user = QByteArray::number(::geteuid());
    const QByteArray recordedPath = item.folderPath.mid(topPath.size()) + item.name;
    FileDescriptor trash = openSharedTrash(top.get(), user);
    if (!isOwn(trash))
        trash = openOrMakeFolder(top.get(), ".Trash-" + user);
    return isOwn(trash) ? put(item, recordedPath, trash) : Outcome::Failed;
}

} // namespace

bool moveToTrash(const QString& path)
{
    const std::optional<Item> item = findItem(systemPath(path));
    if (!item)
        return false;
    Outcome outcome = moveToHomeTrash(*item);
    if (outcome == Outcome::OtherFileSystem)
        outcome = moveToTopTrash(*item);
    return outcome == Outcome::Moved;
}

} // namespace kel
