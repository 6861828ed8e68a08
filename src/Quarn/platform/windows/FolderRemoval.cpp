#include <Quarn/platform/FolderRemoval_p.h>

#include <Quarn/platform/NameOrder_p.h>
#include <Quarn/platform/windows/SystemCalls_p.h>
#include <Quarn/platform/windows/SystemPath_p.h>

#include <QDir>

#include <memory>
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
bool isGone(const std::wstring& path)
{
    if (::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES)
        return false;
    const DWORD error = ::GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

/** Whether what has these leads elsewhere: a symbolic link or a junction. Others are just stored so. */
bool isLink(DWORD attributes, DWORD tag)
{
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) && IsReparseTagNameSurrogate(tag);
}

/**
 * Opens the folder at \a path itself, not what a link there leads to. As long as it is open, nobody
 * can rename, delete or replace the folder, since deleting is not shared; so its path stays true.
 */
FolderHandle hold(const std::wstring& path)
{
    const HANDLE handle = ::CreateFileW(
        path.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return nullptr;
    FolderHandle folder(handle);
    BY_HANDLE_FILE_INFORMATION information;
    if (!::GetFileInformationByHandle(handle, &information))
        return nullptr;
    FILE_ATTRIBUTE_TAG_INFO tag = {};
    const bool mayBeLink = information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT;
    if (mayBeLink
        && (!::GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &tag, sizeof tag)
            || isLink(tag.FileAttributes, tag.ReparseTag)))
        return nullptr;
    return folder;
}

enum class Links { Leave, Remove };

struct Entry
{
    QString name;
    bool folder;
    bool link;
};

/** A folder that is being emptied. */
struct Level
{
    std::wstring path;
    FolderHandle folder;
    std::vector<Entry> entries;
    std::size_t next = 0;
};

/** What is to be deleted in the folder at \a path; Qt's own listing cannot tell junctions. */
std::vector<Entry> entriesOf(const std::wstring& path, Links links)
{
    std::vector<Entry> entries;
    WIN32_FIND_DATAW found;
    const HANDLE search
        = systemCalls().findFirstFile((path + L"\\*").c_str(), FindExInfoBasic, &found,
                                      FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more;
         more = systemCalls().findNextFile(search, &found)) {
        // Not by a conversion, which would drop a byte order mark.
        const QString name(reinterpret_cast<const QChar*>(found.cFileName));
        const bool dots = name == QLatin1String(".") || name == QLatin1String("..");
        const bool folder = found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY;
        // Qt counts shortcuts among the links.
        const bool link = isLink(found.dwFileAttributes, found.dwReserved0)
                          || (!folder && name.endsWith(QLatin1String(".lnk"), Qt::CaseInsensitive));
        if (!dots && (!link || links == Links::Remove))
            entries.push_back({name, folder, link});
    }
    if (search != INVALID_HANDLE_VALUE)
        ::FindClose(search);
    sortByName(entries, [](const Entry& entry) { return entry.name; });
    return entries;
}

bool enter(std::vector<Level>& levels, std::wstring path, Links links)
{
    Level level{std::move(path), nullptr, {}};
    level.folder = hold(level.path);
    if (!level.folder)
        return false;
    level.entries = entriesOf(level.path, links);
    levels.push_back(std::move(level));
    return true;
}

/** A file, a link or an empty folder; of a link that takes its place now, this is the link only. */
bool removeOne(const std::wstring& path, bool folder)
{
    return folder ? ::RemoveDirectoryW(path.c_str()) : ::DeleteFileW(path.c_str());
}

bool makeWritable(const std::wstring& path)
{
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY)
           && ::SetFileAttributesW(path.c_str(), attributes & ~DWORD(FILE_ATTRIBUTE_READONLY));
}

/** Of Links::Remove, read-only ones too. */
bool remove(const std::wstring& path, bool folder, Links links)
{
    return removeOne(path, folder)
           || (links == Links::Remove && makeWritable(path) && removeOne(path, folder))
           || isGone(path);
}

bool removeTree(const std::wstring& path, Links links)
{
    std::vector<Level> levels;
    bool going = enter(levels, path, links);
    while (going && !levels.empty()) {
        Level& level = levels.back();
        if (level.next < level.entries.size()) {
            const Entry& entry = level.entries[level.next++];
            const std::wstring entryPath = level.path + L'\\' + entry.name.toStdWString();
            going = entry.folder && !entry.link
                        ? enter(levels, entryPath, links) || isGone(entryPath)
                        : remove(entryPath, entry.folder, links);
        } else {
            level.folder.reset();
            going = remove(level.path, true, links);
            levels.pop_back();
        }
    }
    return going;
}

} // namespace

bool removeFolder(const QString& path)
{
    return !QDir(path).isRoot() && removeTree(systemPath(path), Links::Leave);
}

int removeAll(const QString& path)
{
    const std::wstring top = systemPath(path);
    const DWORD attributes = ::GetFileAttributesW(top.c_str());
    const bool folder
        = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
    // What cannot be entered as a folder is a link, or a folder that will not go either.
    const bool removed
        = (folder && removeTree(top, Links::Remove)) || remove(top, folder, Links::Remove);
    return removed ? 0 : int(::GetLastError());
}

} // namespace kel
