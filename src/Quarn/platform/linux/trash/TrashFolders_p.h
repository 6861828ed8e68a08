#ifndef QUARN_PLATFORM_LINUX_TRASH_TRASHFOLDERS_P_H
#define QUARN_PLATFORM_LINUX_TRASH_TRASHFOLDERS_P_H

#include <Quarn/platform/linux/FileDescriptor_p.h>

#include <QByteArray>

#include <utility>
#include <vector>

namespace kel {

/** Makes folders. Those that nothing was put into go with the object. */
class FolderMaker
{
public:
    FolderMaker() = default;
    ~FolderMaker();
    FolderMaker(const FolderMaker&) = delete;
    FolderMaker& operator=(const FolderMaker&) = delete;

    /** Opens the folder \a name of an open one, after making it with \a mode if needed. */
    FileDescriptor open(const FileDescriptor& parent, const QByteArray& name, mode_t mode);

    /** The same for a path of folders, one in the other. */
    FileDescriptor openPath(FileDescriptor parent, const QByteArray& path, mode_t mode);

private:
    std::vector<std::pair<FileDescriptor, QByteArray>> m_made; // with the folder that each is in
};

/** A folder that holds the folders "files" and "info". */
struct OpenTrash
{
    FileDescriptor folder;
    QByteArray path; ///< without a slash at its end
};

/**
 * Opens the folder at \a path, which ends in a slash, or the lowest one above it that there is, and
 * cuts \a path to that; errno tells why there is none.
 */
FileDescriptor openLowest(QByteArray& path);

/** The path of the trash in the home, with a slash at its end. */
QByteArray homeTrashPath();

/**
 * The user's folder in the trash that all users share, in the open folder \a top at \a topPath, the
 * top of a file system. It is no link and belongs to the user; otherwise it is not open. It is made
 * when there is a \a maker.
 */
OpenTrash openSharedTrash(const FileDescriptor& top, const QByteArray& topPath, FolderMaker* maker);

/** The same for the trash of the user alone. */
OpenTrash openOwnTrash(const FileDescriptor& top, const QByteArray& topPath, FolderMaker* maker);

} // namespace kel
#endif
