#include <Quarn/platform/FolderRemoval_p.h>

#include <Quarn/platform/windows/SystemPath_p.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <windows.h>

#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

namespace kel {
namespace {

struct CloseFolder
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { ::CloseHandle(handle); }
};
using FolderHandle = std::unique_ptr<HANDLE, CloseFolder>;

/** Whether nothing is at \a path any more, as when somebody else was first to delete it. */
bool isGone(const QString& path)
{
    if (::GetFileAttributesW(longSystemPath(path).c_str()) != INVALID_FILE_ATTRIBUTES)
        return false;
    const DWORD error = ::GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

/**
 * Opens the folder at \a path itself, not what a link there leads to. As long as it is open, nobody
 * can rename, delete or replace the folder, since deleting is not shared; so its path stays true.
 */
FolderHandle hold(const QString& path)
{
    const HANDLE handle = ::CreateFileW(
        longSystemPath(path).c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return nullptr;
    FolderHandle folder(handle);
    BY_HANDLE_FILE_INFORMATION information;
    const bool known = ::GetFileInformationByHandle(handle, &information);
    const bool link = known && (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT);
    return known && !link ? std::move(folder) : nullptr;
}

/** A folder that is being emptied. */
struct Level
{
    QString path;
    FolderHandle folder;
    QFileInfoList entries;
    int next = 0;
};

bool enter(std::vector<Level>& levels, const QString& path)
{
    Level level{path, hold(path), QFileInfoList()};
    if (!level.folder)
        return false;
    level.entries = QDir(path).entryInfoList(QDir::Dirs | QDir::Files | QDir::NoSymLinks
                                             | QDir::Hidden | QDir::NoDotAndDotDot);
    levels.push_back(std::move(level));
    return true;
}

} // namespace

bool removeFolder(const QString& path)
{
    if (QDir(path).isRoot())
        return false;
    std::vector<Level> levels;
    bool going = enter(levels, path);
    while (going && !levels.empty()) {
        Level& level = levels.back();
        if (level.next < level.entries.size()) {
            const QFileInfo entry = level.entries.at(level.next++);
            const QString entryPath = entry.absoluteFilePath();
            going = (entry.isDir() ? enter(levels, entryPath) : QFile::remove(entryPath))
                    || isGone(entryPath);
        } else {
            level.folder.reset();
            // Of a link that takes the folder's place now, this removes the link only.
            going = QDir().rmdir(level.path) || isGone(level.path);
            levels.pop_back();
        }
    }
    return going;
}

int removeAll(const QString& path)
{
    std::error_code error;
    std::filesystem::remove_all(longPath(path), error);
    return error.value();
}

} // namespace kel
