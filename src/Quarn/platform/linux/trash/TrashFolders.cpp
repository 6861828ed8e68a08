#include <Quarn/platform/linux/trash/TrashFolders_p.h>

#include <Quarn/platform/SpecialFolders_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QList>
#include <QString>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace kel {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/** The folder above \a path, which ends in a slash, as \a path does. */
QByteArray folderAbove(const QByteArray& path)
{
    return path.left(path.lastIndexOf('/', path.size() - 2) + 1);
}

FileDescriptor openFolder(const FileDescriptor& parent, const QByteArray& name, FolderMaker* maker)
{
    return maker ? maker->open(parent, name, S_IRWXU)
                 : FileDescriptor(::openat(parent.get(), name.constData(), folderFlags));
}

/** It must not be a trap of another user. */
OpenTrash ifOwn(OpenTrash trash)
{
    struct stat status;
    if (!trash.folder.readStatus(status) || status.st_uid == ::geteuid())
        return trash;
    errno = EACCES;
    return {FileDescriptor(), QByteArray()};
}

QByteArray user()
{
    return QByteArray::number(::geteuid());
}

} // namespace

FolderMaker::~FolderMaker()
{
    for (auto made = m_made.crbegin(); made != m_made.crend(); ++made)
        ::unlinkat(made->first.get(), made->second.constData(), AT_REMOVEDIR);
}

FileDescriptor FolderMaker::open(const FileDescriptor& parent, const QByteArray& name, mode_t mode)
{
    FileDescriptor kept(::fcntl(parent.get(), F_DUPFD_CLOEXEC, 0));
    if (!kept.isOpen())
        return FileDescriptor();
    if (::mkdirat(parent.get(), name.constData(), mode) == 0)
        m_made.emplace_back(std::move(kept), name);
    else if (errno != EEXIST)
        return FileDescriptor();
    return FileDescriptor(::openat(parent.get(), name.constData(), folderFlags));
}

FileDescriptor FolderMaker::openPath(FileDescriptor parent, const QByteArray& path, mode_t mode)
{
    const QList<QByteArray> names = path.split('/');
    for (const QByteArray& name : names) {
        if (!name.isEmpty() && parent.isOpen())
            parent = open(parent, name, mode);
    }
    return parent;
}

FileDescriptor openLowest(QByteArray& path)
{
    for (;;) {
        FileDescriptor folder(::open(path.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (folder.isOpen() || errno != ENOENT || path.size() <= 1)
            return folder;
        path = folderAbove(path);
    }
}

QByteArray homeTrashPath()
{
    return folderAbove(systemPath(specialFolder(TrashFolder)) + '/');
}

OpenTrash openSharedTrash(const FileDescriptor& top, const QByteArray& topPath, FolderMaker* maker)
{
    const FileDescriptor shared(::openat(top.get(), ".Trash", folderFlags));
    struct stat status;
    if (!shared.readStatus(status) || !(status.st_mode & S_ISVTX))
        return {FileDescriptor(), QByteArray()};
    return ifOwn({openFolder(shared, user(), maker), topPath + "/.Trash/" + user()});
}

OpenTrash openOwnTrash(const FileDescriptor& top, const QByteArray& topPath, FolderMaker* maker)
{
    return ifOwn({openFolder(top, ".Trash-" + user(), maker), topPath + "/.Trash-" + user()});
}

} // namespace kel
