#include <Quarn/platform/OpenFolder_p.h>

#include <Quarn/platform/SystemError_p.h>
#include <Quarn/platform/windows/OpenFolderHandle_p.h>
#include <Quarn/platform/windows/SystemCalls_p.h>
#include <Quarn/platform/windows/SystemPath_p.h>

#include <algorithm>
#include <limits>

namespace kel {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD itself = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;

int outcome(BOOL done)
{
    return done ? systemError::none : lastSystemError();
}

qint64 together(DWORD high, DWORD low)
{
    return qint64((quint64(high) << 32) | low);
}

FileId idOf(const BY_HANDLE_FILE_INFORMATION& information)
{
    return {information.dwVolumeSerialNumber,
            {information.nFileIndexHigh, information.nFileIndexLow}};
}

/** Other tags, as of files that are kept on a server, are of ordinary files and folders. */
EntryType typeOf(DWORD attributes, DWORD tag)
{
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) && IsReparseTagNameSurrogate(tag))
        return EntryType::Link;
    return attributes & FILE_ATTRIBUTE_DIRECTORY ? EntryType::Folder : EntryType::File;
}

int typeOf(HANDLE handle, EntryType& type)
{
    FILE_ATTRIBUTE_TAG_INFO information = {};
    if (!systemCalls().fileInformation(handle, FileAttributeTagInfo, &information,
                                       sizeof information))
        return lastSystemError();
    type = typeOf(information.FileAttributes, information.ReparseTag);
    return systemError::none;
}

int openedId(const FileHandle& folder, FileId& id)
{
    BY_HANDLE_FILE_INFORMATION information;
    if (!folder || !::GetFileInformationByHandle(folder.get(), &information))
        return lastSystemError();
    id = idOf(information);
    return information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY ? systemError::none
                                                                   : systemError::isNoFolder;
}

FileHandle hold(const std::wstring& path, DWORD flags)
{
    return openHandle(path, FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES,
                      FILE_SHARE_READ | FILE_SHARE_WRITE, flags);
}

/** The path without the links on the way to it; empty when that isn't known. */
std::wstring finalPath(HANDLE handle)
{
    std::wstring path(std::size_t(std::numeric_limits<short>::max()), L'\0');
    const DWORD size = ::GetFinalPathNameByHandleW(handle, path.data(), DWORD(path.size()),
                                                   FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    path.resize(size < path.size() ? size : 0);
    return path;
}

/** Removes what a listing or a rename has no business with: the attribute that forbids it. */
bool makeWritable(const std::wstring& path)
{
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY)
           && ::SetFileAttributesW(path.c_str(), attributes & ~DWORD(FILE_ATTRIBUTE_READONLY));
}

} // namespace

FileHandle openHandle(const std::wstring& path, DWORD access, DWORD share, DWORD flags)
{
    const HANDLE handle
        = ::CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, flags, nullptr);
    return FileHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

int lastSystemError()
{
    const DWORD error = ::GetLastError();
    if (error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME)
        return systemError::notThere;
    return error == ERROR_FILE_EXISTS ? systemError::alreadyThere : int(error);
}

QString displayName(SystemNameView name)
{
    // Not by a conversion, which would drop a byte order mark.
    return QString(reinterpret_cast<const QChar*>(name.data()), int(name.size()));
}

SystemName systemName(const QString& name)
{
    return shellPath(name);
}

OpenFolder::OpenFolder() : m_handle(std::make_unique<Handle>()) { }
OpenFolder::OpenFolder(OpenFolder&& other) noexcept = default;
OpenFolder& OpenFolder::operator=(OpenFolder&& other) noexcept = default;
OpenFolder::~OpenFolder() = default;

int OpenFolder::open(const QString& path)
{
    m_handle->folder = hold(systemPath(path), FILE_FLAG_BACKUP_SEMANTICS);
    const int error = openedId(m_handle->folder, m_id);
    if (error != systemError::none)
        return error;
    m_handle->path = finalPath(m_handle->folder.get());
    if (m_handle->path.empty()) // on file systems of few features
        m_handle->path = systemPath(path);
    return systemError::none;
}

int OpenFolder::enter(const OpenFolder& parent, const SystemName& name)
{
    m_handle->path = parent.m_handle->pathOf(name);
    m_handle->folder = hold(m_handle->path, itself);
    int error = openedId(m_handle->folder, m_id);
    EntryType type = EntryType::Other;
    if (error == systemError::none)
        error = typeOf(m_handle->folder.get(), type);
    return error == systemError::none && type != EntryType::Folder ? systemError::isNoFolder
                                                                   : error;
}

void OpenFolder::rest() { } // handles are not scarce

int OpenFolder::reopen(const OpenFolder&)
{
    return systemError::none;
}

std::vector<FileId> OpenFolder::idsUpwards() const
{
    std::vector<FileId> ids{m_id};
    std::wstring path = m_handle->path;
    for (auto slash = path.rfind(L'\\'); slash != path.npos; slash = path.rfind(L'\\')) {
        // A root is named with its backslash.
        const FileHandle folder
            = openHandle(path.substr(0, slash + 1), FILE_READ_ATTRIBUTES, shareAll, itself);
        FileId id;
        if (folder && openedId(folder, id) == systemError::none)
            ids.push_back(id);
        path.resize(slash);
    }
    return ids;
}

int OpenFolder::list(const Visitor& visit) const
{
    WIN32_FIND_DATAW entry;
    const HANDLE search
        = systemCalls().findFirstFile(m_handle->pathOf(L"*").c_str(), FindExInfoBasic, &entry,
                                      FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (search == INVALID_HANDLE_VALUE)
        return lastSystemError() == systemError::notThere ? systemError::none : lastSystemError();
    const std::unique_ptr<void, decltype(&::FindClose)> close(search, &::FindClose);
    do {
        const SystemNameView name(entry.cFileName);
        if (name != L"." && name != L".."
            && !visit(name, typeOf(entry.dwFileAttributes, entry.dwReserved0)))
            return systemError::none;
    } while (systemCalls().findNextFile(search, &entry));
    return ::GetLastError() == ERROR_NO_MORE_FILES ? systemError::none : lastSystemError();
}

int OpenFolder::status(const SystemName& name, EntryStatus& status) const
{
    const FileHandle handle
        = openHandle(m_handle->pathOf(name), FILE_READ_ATTRIBUTES, shareAll, itself);
    BY_HANDLE_FILE_INFORMATION information;
    if (name.empty() || !handle || !::GetFileInformationByHandle(handle.get(), &information))
        return name.empty() ? systemError::notThere : lastSystemError();
    status.id = idOf(information);
    if (!(information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        FILE_STANDARD_INFO standard = {};
        status.size = together(information.nFileSizeHigh, information.nFileSizeLow);
        status.allocated = status.size;
        if (::GetFileInformationByHandleEx(handle.get(), FileStandardInfo, &standard,
                                           sizeof standard))
            status.allocated = std::min<qint64>(status.size, standard.AllocationSize.QuadPart);
        status.hasOtherNames = information.nNumberOfLinks > 1;
    }
    status.changed[0] = together(information.ftLastWriteTime.dwHighDateTime,
                                 information.ftLastWriteTime.dwLowDateTime);
    return typeOf(handle.get(), status.type);
}

bool OpenFolder::leadsToFile(const SystemName& link) const
{
    const FileHandle handle = openHandle(m_handle->pathOf(link), FILE_READ_ATTRIBUTES, shareAll,
                                         FILE_FLAG_BACKUP_SEMANTICS);
    BY_HANDLE_FILE_INFORMATION information;
    return handle && ::GetFileInformationByHandle(handle.get(), &information)
           && !(information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

int OpenFolder::makeFolder(const SystemName& name)
{
    return outcome(::CreateDirectoryW(m_handle->pathOf(name).c_str(), nullptr));
}

int OpenFolder::removeFolder(const SystemName& name)
{
    const std::wstring path = m_handle->pathOf(name);
    return outcome(::RemoveDirectoryW(path.c_str())
                   || (makeWritable(path) && ::RemoveDirectoryW(path.c_str())));
}

int OpenFolder::removeFile(const SystemName& name)
{
    const std::wstring path = m_handle->pathOf(name);
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    // A link to a folder, or a junction, goes without what it leads to.
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)
        && (attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return removeFolder(name);
    return outcome(::DeleteFileW(path.c_str())
                   || (makeWritable(path) && ::DeleteFileW(path.c_str())));
}

int OpenFolder::rename(const SystemName& name, OpenFolder& target, const SystemName& newName,
                       bool replacing)
{
    const int error = outcome(::MoveFileExW(m_handle->pathOf(name).c_str(),
                                            target.m_handle->pathOf(newName).c_str(),
                                            replacing ? MOVEFILE_REPLACE_EXISTING : 0));
    EntryStatus moved;
    if (error == systemError::none || status(name, moved) != systemError::none)
        return error;
    const std::vector<FileId> above = target.idsUpwards(); // such a folder the system calls in use
    return std::find(above.begin(), above.end(), moved.id) != above.end() ? systemError::intoItself
                                                                          : error;
}

int OpenFolder::link(const SystemName& name, OpenFolder& target, const SystemName& newName) const
{
    return outcome(::CreateHardLinkW(target.m_handle->pathOf(newName).c_str(),
                                     m_handle->pathOf(name).c_str(), nullptr));
}

int OpenFolder::sync()
{
    return systemError::none; // the file system keeps a journal of names
}

qint64 OpenFolder::roomForCopies(const OpenFolder&, const SystemName&) const
{
    ULARGE_INTEGER room = {};
    return ::GetDiskFreeSpaceExW(m_handle->path.c_str(), &room, nullptr, nullptr)
               ? qint64(room.QuadPart)
               : std::numeric_limits<qint64>::max();
}

} // namespace kel
