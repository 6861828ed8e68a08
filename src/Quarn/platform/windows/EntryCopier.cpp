#include <Quarn/platform/EntryCopier_p.h>

#include <Quarn/platform/windows/OpenFolderHandle_p.h>

#include <exception>

namespace kel {
namespace {

using Outcome = EntryCopier::Outcome;

Outcome failure(FileStep step)
{
    return {lastSystemError(), step, false};
}

/** What the system calls back while it copies a file. */
struct Watch
{
    const EntryCopier::Transferred& transferred;
    qint64 done = 0;
    std::exception_ptr thrown = nullptr; // it must not pass through the system
    bool cancelled = false;
};

DWORD CALLBACK watch(LARGE_INTEGER, LARGE_INTEGER transferred, LARGE_INTEGER, LARGE_INTEGER, DWORD,
                     DWORD, HANDLE, HANDLE, void* data)
{
    Watch& watched = *static_cast<Watch*>(data);
    const qint64 count = transferred.QuadPart - watched.done;
    watched.done = transferred.QuadPart;
    try {
        watched.cancelled = count > 0 && !watched.transferred(count);
    } catch (...) {
        watched.thrown = std::current_exception();
        watched.cancelled = true;
    }
    return watched.cancelled ? PROGRESS_CANCEL : PROGRESS_CONTINUE;
}

/** Has the disk keep the file at \a path, which may be read-only, as the \a original is. */
bool sync(const std::wstring& path, const std::wstring& original)
{
    const DWORD attributes = ::GetFileAttributesW(original.c_str());
    const bool isReadOnly = attributes & FILE_ATTRIBUTE_READONLY;
    if (isReadOnly)
        ::SetFileAttributesW(path.c_str(), attributes & ~DWORD(FILE_ATTRIBUTE_READONLY));
    const FileHandle file = openHandle(path, GENERIC_WRITE, FILE_SHARE_READ, 0);
    const bool isSynced = file && ::FlushFileBuffers(file.get());
    const DWORD error = ::GetLastError();
    if (isReadOnly)
        ::SetFileAttributesW(path.c_str(), attributes);
    ::SetLastError(error);
    return isSynced;
}

} // namespace

struct EntryCopier::State
{
    bool synced;
};

EntryCopier::EntryCopier(bool synced) : m_state(new State{synced}) { }

EntryCopier::~EntryCopier() = default;

Outcome EntryCopier::copy(const OpenFolder& source, const SystemName& name,
                          const EntryStatus& status, OpenFolder& target, const SystemName& newName,
                          const Transferred& transferred)
{
    const std::wstring from = source.handle().pathOf(name);
    const std::wstring to = target.handle().pathOf(newName);
    Watch watched{transferred};
    bool copied = ::CopyFileExW(from.c_str(), to.c_str(), &watch, &watched, nullptr,
                                COPY_FILE_FAIL_IF_EXISTS | COPY_FILE_COPY_SYMLINK);
    if (copied && watched.done < status.size) { // the system need not tell of every piece
        LARGE_INTEGER size = {};
        size.QuadPart = status.size;
        copied
            = watch(size, size, size, size, 0, 0, nullptr, nullptr, &watched) == PROGRESS_CONTINUE;
    }
    if (!copied) {
        const Outcome failed = watched.cancelled ? Outcome{systemError::none, FileStep::Write, true}
                                                 : failure(FileStep::Write);
        if (failed.error != systemError::alreadyThere)
            target.removeFile(newName);
        if (watched.thrown)
            std::rethrow_exception(watched.thrown);
        return failed;
    }
    Outcome outcome;
    EntryStatus after;
    if (m_state->synced && status.type == EntryType::File && !sync(to, from))
        outcome = failure(FileStep::Write);
    else if (m_state->synced && source.status(name, after) == systemError::none
             && (after.changed != status.changed || after.size != status.size))
        outcome = {systemError::changed, FileStep::Read, false};
    if (!outcome.ok())
        target.removeFile(newName);
    return outcome;
}

Outcome EntryCopier::copyAttributes(const OpenFolder& source, const OpenFolder& target,
                                    const EntryStatus& before)
{
    FILE_BASIC_INFO information = {};
    const FileHandle to
        = openHandle(target.handle().path, FILE_WRITE_ATTRIBUTES,
                     FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_FLAG_BACKUP_SEMANTICS);
    if (!to
        || !::GetFileInformationByHandleEx(source.handle().folder.get(), FileBasicInfo,
                                           &information, sizeof information))
        return failure(FileStep::Attributes);
    information.LastWriteTime.QuadPart = before.changed[0];
    information.ChangeTime.QuadPart = 0; // as it will be
    return ::SetFileInformationByHandle(to.get(), FileBasicInfo, &information, sizeof information)
               ? Outcome()
               : failure(FileStep::Attributes);
}

void EntryCopier::setCopiedLast(const FileId&) { }

bool EntryCopier::hasCommentLeft() const
{
    return false; // it is a stream of the file
}

Outcome EntryCopier::copyComment(const OpenFolder&, const SystemName&, OpenFolder&,
                                 const SystemName&, const QString&)
{
    return Outcome();
}

Outcome EntryCopier::moveComment(const OpenFolder&, const SystemName&, OpenFolder&,
                                 const SystemName&, const QString&)
{
    return Outcome();
}

Outcome EntryCopier::removeComment(OpenFolder&, const SystemName&, const QString&)
{
    return Outcome();
}

std::vector<SystemName> EntryCopier::commentFiles(const SystemName&, const QString&)
{
    return {};
}

} // namespace kel
