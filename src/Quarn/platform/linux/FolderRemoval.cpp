#include <Quarn/platform/FolderRemoval_p.h>

#include <Quarn/platform/NameOrder_p.h>
#include <Quarn/platform/linux/DirectoryEntries_p.h>
#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/FolderRemoval_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <vector>

namespace kel {
namespace {

/** So many levels of a deep tree stay open; those above, but the first, are found over "..". */
constexpr std::size_t openLevels = 16;

struct Entry
{
    QByteArray name;
    bool isFolder;
};

/** A folder that is being emptied. */
struct Level
{
    FileDescriptor folder;
    dev_t device = 0;
    ino_t inode = 0;
    std::vector<Entry> entries;
    std::size_t next = 0;

    const QByteArray& currentName() const { return entries[next - 1].name; }
};

/** The entries to delete. A folder that cannot be listed has none: it goes when it is empty. */
std::vector<Entry> list(int folder, bool everything)
{
    std::vector<DirectoryEntry> found;
    listDirectory(folder, found);
    std::vector<Entry> entries;
    for (const DirectoryEntry& entry : found) {
        if (everything || entry.type == S_IFREG || entry.type == S_IFDIR)
            entries.push_back({entry.name, entry.type == S_IFDIR});
    }
    if (!everything)
        sortByName(entries, [](const Entry& entry) { return QFile::decodeName(entry.name); });
    return entries;
}

/** Deletes the entry \a name; one that somebody else was first to delete is gone, too. */
bool removeEntry(const FileDescriptor& folder, const QByteArray& name, int flags)
{
    return ::unlinkat(folder.get(), name.constData(), flags) == 0 || errno == ENOENT;
}

/**
 * The walk. Every step is taken from an open folder to a name in it, so it cannot be led astray by
 * a path that changes. It keeps its own stack: the tree may be deeper than the thread's.
 */
class Removal
{
public:
    Removal(FileDescriptor parent, const QByteArray& name, bool everything)
        : m_everything(everything)
    {
        m_levels.emplace_back();
        m_levels.back().folder = std::move(parent);
        m_levels.back().entries.push_back({name, true});
    }

    bool run()
    {
        for (;;) {
            Level& level = m_levels.back();
            const bool done = level.next == level.entries.size();
            if (done && m_levels.size() == 1)
                return true;
            if (!(done ? leave() : remove(level.entries[level.next++])))
                return false;
        }
    }

private:
    bool remove(const Entry& entry)
    {
        const FileDescriptor& folder = m_levels.back().folder;
        if (!entry.isFolder)
            return removeEntry(folder, entry.name, 0);
        FileDescriptor opened = open(folder, entry.name);
        if (!opened.isOpen() && errno == EACCES && m_everything
            && ::fchmodat(folder.get(), entry.name.constData(), S_IRWXU, AT_SYMLINK_NOFOLLOW) == 0)
            opened = open(folder, entry.name);
        // One that may not be read can still be removed when it is empty.
        return opened.isOpen() ? enter(std::move(opened))
                               : removeEntry(folder, entry.name, AT_REMOVEDIR);
    }

    static FileDescriptor open(const FileDescriptor& folder, const QByteArray& name)
    {
        return FileDescriptor(::openat(folder.get(), name.constData(),
                                       O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }

    bool enter(FileDescriptor folder)
    {
        struct stat status;
        if (!folder.readStatus(status))
            return false;
        if (m_everything && (status.st_mode & S_IRWXU) != S_IRWXU)
            ::fchmod(folder.get(), S_IRWXU); // to empty it takes more than to have it
        Level level;
        level.device = status.st_dev;
        level.inode = status.st_ino;
        level.entries = list(folder.get(), m_everything);
        level.folder = std::move(folder);
        m_levels.push_back(std::move(level));
        if (m_levels.size() > openLevels + 1)
            m_levels[m_levels.size() - openLevels - 1].folder = FileDescriptor();
        return true;
    }

    bool leave()
    {
        const Level left = std::move(m_levels.back());
        m_levels.pop_back();
        Level& level = m_levels.back();
        return reopen(level, left.folder.get())
               && removeEntry(level.folder, level.currentName(), AT_REMOVEDIR);
    }

    /** Makes sure that \a level is open; ".." of \a child may lead elsewhere when that was moved. */
    static bool reopen(Level& level, int child)
    {
        if (level.folder.isOpen())
            return true;
        FileDescriptor parent(::openat(child, "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
        struct stat status;
        if (!parent.readStatus(status) || status.st_dev != level.device
            || status.st_ino != level.inode) {
            errno = ESTALE;
            return false;
        }
        level.folder = std::move(parent);
        return true;
    }

    const bool m_everything;
    std::vector<Level> m_levels;
};

} // namespace

bool removeFolder(const QString& path)
{
    const QByteArray native = systemPath(path);
    const auto slash = native.lastIndexOf('/');
    const QByteArray name = native.mid(slash + 1);
    if (slash < 0 || name.isEmpty())
        return false;
    FileDescriptor parent(
        ::open(native.left(slash + 1).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return parent.isOpen() && Removal(std::move(parent), name, false).run();
}

int removeAll(int folder, const QByteArray& name)
{
    struct stat status;
    FileDescriptor parent(::openat(folder, ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!parent.isOpen())
        return errno;
    if (::fstatat(folder, name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? 0 : errno;
    const bool removed = S_ISDIR(status.st_mode) ? Removal(std::move(parent), name, true).run()
                                                 : removeEntry(parent, name, 0);
    return removed ? 0 : errno;
}

int removeAll(const QString& path)
{
    const QByteArray native = systemPath(path);
    const auto slash = native.lastIndexOf('/');
    if (slash < 0 || slash == native.size() - 1)
        return EINVAL;
    const FileDescriptor parent(
        ::open(native.left(slash + 1).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!parent.isOpen())
        return errno == ENOENT ? 0 : errno;
    return removeAll(parent.get(), native.mid(slash + 1));
}

} // namespace kel
