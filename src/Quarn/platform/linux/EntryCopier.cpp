#include <Quarn/platform/EntryCopier_p.h>

#include <Quarn/platform/linux/ByteCopier_p.h>
#include <Quarn/platform/linux/CommentSidecar_p.h>
#include <Quarn/platform/linux/FileAttributes_p.h>
#include <Quarn/platform/linux/OpenFolderHandle_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <map>

namespace kel {
namespace {

using Outcome = EntryCopier::Outcome;

Outcome failure(FileStep step, int error = errno)
{
    return {error, step, false};
}

Outcome result(FileStep step, int error)
{
    return error == 0 ? Outcome() : failure(step, error);
}

/** A new name; it goes with the object unless it is to be kept. */
class NewEntry
{
public:
    NewEntry(int folder, const SystemName& name) : m_folder(folder), m_name(name) { }
    NewEntry(const NewEntry&) = delete;
    NewEntry& operator=(const NewEntry&) = delete;
    ~NewEntry()
    {
        if (m_made)
            ::unlinkat(m_folder, m_name.c_str(), 0);
    }

    void setMade() { m_made = true; }
    /** Keeps it if all went well. */
    Outcome finish(const Outcome& outcome)
    {
        m_made = m_made && !outcome.ok();
        return outcome;
    }

private:
    const int m_folder;
    const SystemName& m_name;
    bool m_made = false;
};

CommentSidecar sidecar(const OpenFolder& folder, const SystemName& name, const QString& suffix)
{
    FileDescriptor copy(::fcntl(folder.handle().get(), F_DUPFD_CLOEXEC, 0));
    return CommentSidecar(std::move(copy), QByteArray::fromStdString(name),
                          QFile::encodeName(suffix));
}

} // namespace

struct EntryCopier::State
{
    explicit State(bool isSynced) : synced(isSynced), bytes(isSynced) { }

    Outcome copyFile(int from, const char* name, const EntryStatus& known, int to,
                     const char* newName, NewEntry& made, const Transferred& transferred);
    Outcome copyLink(int from, const char* name, int to, const char* newName, NewEntry& made);
    Outcome copyPipe(int from, const char* name, int to, const char* newName, NewEntry& made);

    const bool synced;
    ByteCopier bytes;
    FileAttributes attributes;
    QByteArray commentLeft; // of the entry copied last
    std::map<FileId, QByteArray> linkedComments; // those left of files with several names
};

Outcome EntryCopier::State::copyFile(int from, const char* name, const EntryStatus& known, int to,
                                     const char* newName, NewEntry& made,
                                     const Transferred& transferred)
{
    // It may be a pipe by now, which must not be waited for.
    const FileDescriptor source(
        ::openat(from, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status;
    if (!source.readStatus(status))
        return failure(FileStep::Open);
    // Other names of the one that is known are to become those of its copy.
    const bool isAnother = known.hasOtherNames && !(entryStatus(status).id == known.id);
    if (!S_ISREG(status.st_mode) || isAnother)
        return failure(FileStep::Open, systemError::changed);
    FileDescriptor target(::openat(to, newName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!target.isOpen())
        return failure(FileStep::Create);
    made.setMade();
    const Outcome copied = bytes.copy(source.get(), status, target.get(), transferred);
    if (!copied.ok())
        return copied;
    const int error = attributes.copy(source.get(), status, target.get());
    if (error != 0)
        return failure(FileStep::Attributes, error);
    commentLeft = attributes.commentLeft();
    if (status.st_nlink > 1 && !commentLeft.isEmpty())
        linkedComments[entryStatus(status).id] = commentLeft;
    // Some file systems tell of a full disk only here.
    if ((synced && !isSynchronized(target.get())) || ::close(target.release()) != 0)
        return failure(FileStep::Write);
    struct stat after;
    if (synced && !source.readStatus(after))
        return failure(FileStep::Look);
    if (synced
        && (after.st_size != status.st_size
            || entryStatus(after).changed != entryStatus(status).changed))
        return failure(FileStep::Read, systemError::changed);
    return Outcome();
}

Outcome EntryCopier::State::copyLink(int from, const char* name, int to, const char* newName,
                                     NewEntry& made)
{
    char target[PATH_MAX];
    const ssize_t size = ::readlinkat(from, name, target, sizeof target);
    struct stat status;
    if (size < 0 || ::fstatat(from, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return failure(FileStep::Read);
    if (size == sizeof target)
        return failure(FileStep::Read, ENAMETOOLONG);
    target[size] = '\0';
    if (::symlinkat(target, to, newName) != 0)
        return failure(FileStep::Create);
    made.setMade();
    return result(FileStep::Attributes, attributes.copyNamed(status, to, newName));
}

Outcome EntryCopier::State::copyPipe(int from, const char* name, int to, const char* newName,
                                     NewEntry& made)
{
    struct stat status;
    if (::fstatat(from, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return failure(FileStep::Look);
    if (::mkfifoat(to, newName, S_IRUSR | S_IWUSR) != 0)
        return failure(FileStep::Create);
    made.setMade();
    const int error = attributes.copyNamed(status, to, newName);
    if (error != 0)
        return failure(FileStep::Attributes, error);
    // By its descriptor, which a link that takes its place doesn't change.
    const FileDescriptor pipe(::openat(to, newName, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    const QByteArray path = "/proc/self/fd/" + QByteArray::number(pipe.get());
    struct stat opened;
    const bool isPipe = pipe.readStatus(opened) && S_ISFIFO(opened.st_mode);
    return isPipe && ::chmod(path.constData(), status.st_mode & 07777) == 0
               ? Outcome()
               : failure(FileStep::Attributes);
}

EntryCopier::EntryCopier(bool synced) : m_state(std::make_unique<State>(synced)) { }

EntryCopier::~EntryCopier() = default;

Outcome EntryCopier::copy(const OpenFolder& source, const SystemName& name,
                          const EntryStatus& status, OpenFolder& target, const SystemName& newName,
                          const Transferred& transferred)
{
    const int from = source.handle().get();
    const int to = target.handle().get();
    m_state->commentLeft.clear();
    NewEntry made(to, newName);
    switch (status.type) {
    case EntryType::File:
        return made.finish(
            m_state->copyFile(from, name.c_str(), status, to, newName.c_str(), made, transferred));
    case EntryType::Link:
        return made.finish(m_state->copyLink(from, name.c_str(), to, newName.c_str(), made));
    case EntryType::Pipe:
        return made.finish(m_state->copyPipe(from, name.c_str(), to, newName.c_str(), made));
    default:
        return failure(FileStep::Open, systemError::notSupported);
    }
}

Outcome EntryCopier::copyAttributes(const OpenFolder& source, const OpenFolder& target,
                                    const EntryStatus& before)
{
    constexpr qint64 second = 1000000000;
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    m_state->commentLeft.clear();
    const FileDescriptor from(::openat(source.handle().get(), ".", flags));
    const FileDescriptor to(::openat(target.handle().get(), ".", flags));
    struct stat status;
    if (!from.readStatus(status) || !to.isOpen())
        return failure(FileStep::Attributes);
    const qint64 nanoseconds = (before.changed[0] % second + second) % second; // before 1970, too
    status.st_mtim = {time_t((before.changed[0] - nanoseconds) / second), long(nanoseconds)};
    const int error = m_state->attributes.copy(from.get(), status, to.get());
    m_state->commentLeft = m_state->attributes.commentLeft();
    return result(FileStep::Attributes, error);
}

void EntryCopier::setCopiedLast(const FileId& id)
{
    const auto found = m_state->linkedComments.find(id);
    m_state->commentLeft = found != m_state->linkedComments.end() ? found->second : QByteArray();
}

bool EntryCopier::hasCommentLeft() const
{
    return !m_state->commentLeft.isEmpty();
}

Outcome EntryCopier::copyComment(const OpenFolder& source, const SystemName& name,
                                 OpenFolder& target, const SystemName& newName,
                                 const QString& suffix)
{
    QByteArray comment = m_state->commentLeft;
    if (comment.isEmpty())
        comment = sidecar(source, name, suffix).read();
    CommentSidecar beside = sidecar(target, newName, suffix);
    const bool done = comment.isEmpty() ? beside.remove() : beside.replace(comment);
    return done ? Outcome() : failure(FileStep::Attributes);
}

Outcome EntryCopier::moveComment(const OpenFolder& source, const SystemName& name,
                                 OpenFolder& target, const SystemName& newName,
                                 const QString& suffix)
{
    CommentSidecar former = sidecar(source, name, suffix);
    const bool done = sidecar(target, newName, suffix).takeFrom(former);
    return done ? Outcome() : failure(FileStep::Attributes);
}

Outcome EntryCopier::removeComment(OpenFolder& folder, const SystemName& name,
                                   const QString& suffix)
{
    CommentSidecar beside = sidecar(folder, name, suffix);
    return beside.read().isEmpty() || beside.remove() ? Outcome() : failure(FileStep::Remove);
}

std::vector<SystemName> EntryCopier::commentFiles(const SystemName& name, const QString& suffix)
{
    std::vector<SystemName> names;
    for (const QByteArray& file :
         CommentSidecar::namesFor(QByteArray::fromStdString(name), QFile::encodeName(suffix)))
        names.push_back(file.toStdString());
    return names;
}

} // namespace kel
