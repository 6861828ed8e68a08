#include <Quarn/platform/OpenFolder_p.h>

#include <Quarn/platform/SystemError_p.h>
#include <Quarn/platform/linux/DirectoryEntries_p.h>
#include <Quarn/platform/linux/FreeRename_p.h>
#include <Quarn/platform/linux/OpenFolderHandle_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QFile>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <limits>
#include <utility>

namespace kel {
namespace {

constexpr int folderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int listFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

/** What a call that answers 0 for a success has ended with. */
int outcome(int result)
{
    return result == 0 ? systemError::none : errno;
}

EntryType typeOf(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return EntryType::File;
    case S_IFDIR:
        return EntryType::Folder;
    case S_IFLNK:
        return EntryType::Link;
    case S_IFIFO:
        return EntryType::Pipe;
    default:
        return EntryType::Other;
    }
}

FileId idOf(const struct stat& status)
{
    return {status.st_dev, {status.st_ino, 0}};
}

int openedId(const FileDescriptor& folder, FileId& id)
{
    struct stat status;
    if (!folder.readStatus(status))
        return errno;
    id = idOf(status);
    return systemError::none;
}

bool hasSharedBlocks(long type)
{
    constexpr long xfs = 0x58465342, ocfs2 = 0x7461636f, bcachefs = 0xca451a4e, zfs = 0x2fc12fc1;
    const long types[] = {BTRFS_SUPER_MAGIC, xfs, ocfs2, bcachefs, zfs};
    return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

} // namespace

EntryStatus entryStatus(const struct stat& status)
{
    constexpr qint64 block = 512;
    constexpr qint64 second = 1000000000;
    EntryStatus result;
    result.type = typeOf(status.st_mode);
    result.id = idOf(status);
    if (result.type == EntryType::File) {
        result.size = status.st_size;
        result.allocated = std::min<qint64>(status.st_size, status.st_blocks * block);
        result.hasOtherNames = status.st_nlink > 1;
    }
    result.changed = {status.st_mtim.tv_sec * second + status.st_mtim.tv_nsec,
                      status.st_ctim.tv_sec * second + status.st_ctim.tv_nsec};
    return result;
}

QString displayName(SystemNameView name)
{
    return QFile::decodeName(QByteArray::fromRawData(name.data(), int(name.size())));
}

SystemName systemName(const QString& name)
{
    return systemPath(name).toStdString();
}

OpenFolder::OpenFolder() : m_handle(std::make_unique<Handle>()) { }
OpenFolder::OpenFolder(OpenFolder&& other) noexcept = default;
OpenFolder& OpenFolder::operator=(OpenFolder&& other) noexcept = default;
OpenFolder::~OpenFolder() = default;

int OpenFolder::open(const QString& path)
{
    m_handle->folder = FileDescriptor(::open(systemPath(path).constData(), folderFlags));
    return openedId(m_handle->folder, m_id);
}

int OpenFolder::enter(const OpenFolder& parent, const SystemName& name)
{
    m_handle->folder
        = FileDescriptor(::openat(parent.m_handle->get(), name.c_str(), folderFlags | O_NOFOLLOW));
    return openedId(m_handle->folder, m_id);
}

void OpenFolder::rest()
{
    m_handle->folder = FileDescriptor();
}

int OpenFolder::reopen(const OpenFolder& child)
{
    if (m_handle->folder.isOpen())
        return systemError::none;
    FileDescriptor folder(::openat(child.m_handle->get(), "..", folderFlags));
    FileId id;
    const int error = openedId(folder, id);
    if (error != systemError::none)
        return error;
    if (!(id == m_id))
        return systemError::changed;
    m_handle->folder = std::move(folder);
    return systemError::none;
}

std::vector<FileId> OpenFolder::idsUpwards() const
{
    std::vector<FileId> ids{m_id};
    FileDescriptor above(::openat(m_handle->get(), "..", folderFlags));
    FileId id;
    while (openedId(above, id) == systemError::none && !(id == ids.back())) {
        ids.push_back(id);
        above = FileDescriptor(::openat(above.get(), "..", folderFlags));
    }
    return ids;
}

int OpenFolder::list(const Visitor& visit) const
{
    FileDescriptor readable(::openat(m_handle->get(), ".", listFlags));
    if (!readable.isOpen())
        return errno;
    return visitDirectory(std::move(readable), [&visit](const char* name, mode_t type) {
        return visit(name, typeOf(type));
    });
}

int OpenFolder::status(const SystemName& name, EntryStatus& status) const
{
    struct stat found;
    if (::fstatat(m_handle->get(), name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0)
        return errno;
    status = entryStatus(found);
    return systemError::none;
}

bool OpenFolder::leadsToFile(const SystemName& link) const
{
    struct stat target;
    return ::fstatat(m_handle->get(), link.c_str(), &target, 0) == 0 && S_ISREG(target.st_mode);
}

int OpenFolder::makeFolder(const SystemName& name)
{
    return outcome(::mkdirat(m_handle->get(), name.c_str(), S_IRWXU));
}

int OpenFolder::removeFolder(const SystemName& name)
{
    return outcome(::unlinkat(m_handle->get(), name.c_str(), AT_REMOVEDIR));
}

int OpenFolder::removeFile(const SystemName& name)
{
    return outcome(::unlinkat(m_handle->get(), name.c_str(), 0));
}

int OpenFolder::rename(const SystemName& name, OpenFolder& target, const SystemName& newName,
                       bool replacing)
{
    const int from = m_handle->get();
    const int to = target.m_handle->get();
    if (replacing)
        return outcome(::renameat(from, name.c_str(), to, newName.c_str()));
    return renameToFreeName(from, name.c_str(), to, newName.c_str());
}

int OpenFolder::link(const SystemName& name, OpenFolder& target, const SystemName& newName) const
{
    return outcome(
        ::linkat(m_handle->get(), name.c_str(), target.m_handle->get(), newName.c_str(), 0));
}

int OpenFolder::sync()
{
    const FileDescriptor folder(::openat(m_handle->get(), ".", listFlags));
    // One that may not be listed isn't opened.
    const bool done = folder.isOpen() ? isSynchronized(folder.get()) : errno == EACCES;
    return done ? systemError::none : errno;
}

qint64 OpenFolder::roomForCopies(const OpenFolder& source, const SystemName& name) const
{
    // Another file system may begin right there.
    const FileDescriptor entry(
        ::openat(source.m_handle->get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    constexpr qint64 unknown = std::numeric_limits<qint64>::max();
    struct statfs here;
    struct statfs there;
    struct statvfs room;
    if (::fstatfs(m_handle->get(), &here) != 0 || ::fstatfs(entry.get(), &there) != 0
        || ::fstatvfs(m_handle->get(), &room) != 0
        || (here.f_type == there.f_type && hasSharedBlocks(here.f_type)) || room.f_blocks == 0)
        return unknown;
    return qint64(std::min<quint64>(quint64(room.f_bavail) * room.f_frsize, unknown));
}

} // namespace kel
