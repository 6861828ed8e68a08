#include <Quarn/platform/FileReplacement_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/NewFile_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QFileInfo>

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <optional>

namespace kel {
namespace {

constexpr int mostLinks = 40;
constexpr mode_t permissions = S_IRWXU | S_IRWXG | S_IRWXO; // setuid goes, as with any writing

enum Keeping { NotKept, Tried, Kept };

/** What becomes of an extended attribute: some are about the bytes, or for the system to set. */
Keeping keepingOf(const QByteArray& attribute)
{
    if (attribute.startsWith("user.") || attribute == "system.posix_acl_access")
        return Kept;
    return attribute.startsWith("system.") || attribute == "security.selinux" ? Tried : NotKept;
}

bool copyAttribute(int from, const char* name, int to)
{
    QByteArray value(XATTR_SIZE_MAX, Qt::Uninitialized); // one call, so no change in between
    const auto size = ::fgetxattr(from, name, value.data(), std::size_t(value.size()));
    return size < 0 ? errno == ENODATA
                    : ::fsetxattr(to, name, value.constData(), std::size_t(size), 0) == 0;
}

bool copyAttributes(int from, int to)
{
    QByteArray names(XATTR_LIST_MAX, Qt::Uninitialized);
    const auto size = ::flistxattr(from, names.data(), std::size_t(names.size()));
    if (size < 0)
        return isWithoutAttribute(errno);
    const QList<QByteArray> attributes = names.left(int(size)).split('\0');
    for (const QByteArray& name : attributes) {
        const Keeping keeping = keepingOf(name);
        if (keeping != NotKept && !copyAttribute(from, name.constData(), to) && keeping == Kept)
            return false;
    }
    return true;
}

} // namespace

struct FileReplacement::Place
{
    QByteArray folderPath;
    FileDescriptor folder;
    QByteArray target; // the names in there
    QByteArray temporary;
    std::optional<struct stat> former; // status of what is to be replaced

    FileDescriptor openTarget(int access) const
    {
        return FileDescriptor(::openat(folder.get(), target.constData(),
                                       access | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    }
};

QString FileReplacement::path() const
{
    return m_place ? QFileInfo(QFile::decodeName(m_place->folderPath + m_place->temporary))
                         .absoluteFilePath()
                   : QString();
}

/** Follows the links at the end of the path; the system follows those on the way. */
bool FileReplacement::find(const QString& target)
{
    constexpr char attempt[] = "found";
    QByteArray path = systemPath(target);
    for (int links = 0; links < mostLinks; ++links) {
        Place place;
        const auto slash = path.lastIndexOf('/');
        place.folderPath = slash < 0 ? QByteArray("./") : path.left(slash + 1);
        place.target = path.mid(slash + 1);
        if (place.target.isEmpty() || place.target == "." || place.target == "..") {
            errno = path.isEmpty() ? ENOENT : EISDIR;
            return failBySystem(QFileDevice::OpenError, attempt);
        }
        place.folder = FileDescriptor(
            ::open(place.folderPath.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!place.folder.isOpen())
            return failBySystem(QFileDevice::OpenError, attempt);
        QByteArray link(PATH_MAX, Qt::Uninitialized);
        const auto length = ::readlinkat(place.folder.get(), place.target.constData(), link.data(),
                                         std::size_t(link.size()));
        if (length < 0 && errno != EINVAL && errno != ENOENT) // no link, or nothing there yet
            return failBySystem(QFileDevice::OpenError, attempt);
        if (length < 0) {
            m_place = std::make_shared<Place>(std::move(place));
            return true;
        }
        link.truncate(int(length));
        path = link.startsWith('/') ? link : place.folderPath + link;
    }
    errno = ELOOP;
    return failBySystem(QFileDevice::OpenError, attempt);
}

bool FileReplacement::open(QFile& file, QIODevice::OpenMode mode)
{
    const int folder = m_place->folder.get();
    const char* const target = m_place->target.constData();
    struct stat status;
    if (::fstatat(folder, target, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        if (!S_ISREG(status.st_mode))
            return fail(QFileDevice::OpenError, "replaced",
                        QStringLiteral("It is no regular file"));
        if (::faccessat(folder, target, W_OK, AT_EACCESS) != 0)
            return failBySystem(QFileDevice::PermissionsError, "replaced");
        m_place->former = status;
    } else if (errno != ENOENT) {
        return failBySystem(QFileDevice::OpenError, "found");
    }
    // What replaces another file is for nobody else's eyes until it has the permissions of that.
    const mode_t mask = m_place->former ? S_IRUSR | S_IWUSR : 0666;
    const QByteArray name = newName(".save-");
    FileDescriptor opened(::openat(folder, name.constData(),
                                   O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mask));
    if (!opened.isOpen())
        return failBySystem(QFileDevice::OpenError, "created in its folder");
    m_place->temporary = name;
    if (!file.open(opened.get(), mode, QFileDevice::AutoCloseHandle))
        return fail(QFileDevice::OpenError, "opened", file.errorString());
    opened.release();
    return true;
}

bool FileReplacement::takeAttributes(int file)
{
    constexpr char attempt[] = "given the attributes of the former file";
    FileDescriptor former = m_place->openTarget(O_RDONLY);
    if (!former.isOpen() && errno == EACCES)
        former = m_place->openTarget(O_WRONLY); // enough as long as it has no attributes to read
    if (!former.isOpen() && errno != ENOENT)
        return failBySystem(QFileDevice::PermissionsError, attempt);
    struct stat status;
    if (former.isOpen() && ::fstat(former.get(), &status) != 0)
        return failBySystem(QFileDevice::PermissionsError, attempt);
    if (!former.isOpen() && !m_place->former)
        return true;
    // The permissions last: with another owner, and with an access list, others would come.
    if (!removeInheritedAccess(file, false)
        || (former.isOpen() && !copyAttributes(former.get(), file))
        || !shareAs(former.isOpen() ? status : *m_place->former, file, permissions))
        return failBySystem(QFileDevice::PermissionsError, attempt);
    return true;
}

bool FileReplacement::synchronize(int file)
{
    return isSynchronized(file) || failBySystem(QFileDevice::WriteError, "written to the disk");
}

bool FileReplacement::rename()
{
    const int folder = m_place->folder.get();
    if (::renameat(folder, m_place->temporary.constData(), folder, m_place->target.constData())
        != 0)
        return failBySystem(QFileDevice::RenameError, "replaced");
    // So that the new name lasts. Old or new is right whatever this says.
    const FileDescriptor readable(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    isSynchronized(readable.get());
    return true;
}

void FileReplacement::remove()
{
    if (!m_place->temporary.isEmpty())
        ::unlinkat(m_place->folder.get(), m_place->temporary.constData(), 0);
}

} // namespace kel
