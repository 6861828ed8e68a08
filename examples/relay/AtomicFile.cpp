#include "AtomicFile.h"

#include "Console.h"

#include <Quarn/companion/IOException.h>

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int mostLinks = 40;

/** Where \a path leads through links; what can't be told is an \a error, never no link. */
QString withoutLinks(const QString& path, int& error)
{
    QString result = QFileInfo(path).absoluteFilePath();
    for (int links = 0; links < mostLinks; ++links) {
        QByteArray target(PATH_MAX, Qt::Uninitialized);
        const ssize_t length = ::readlink(QFile::encodeName(result).constData(), target.data(),
                                          std::size_t(target.size()));
        if (length < 0) {
            error = errno == EINVAL || errno == ENOENT ? 0 : errno; // no link, or nothing there yet
            return result;
        }
        target.truncate(int(length));
        result = QFileInfo(result).dir().absoluteFilePath(QFile::decodeName(target));
    }
    error = ELOOP;
    return result;
}

/** A new name in the folder of \a target, short whatever the length of the target's name. */
QString nameBeside(const QString& target)
{
    const quint64 random = QRandomGenerator::system()->generate64();
    return QFileInfo(target).path() + QStringLiteral("/.relay-") + QString::number(random, 16);
}

/** Whether the descriptor's data is on the disk; some file systems cannot tell. */
bool synchronized(int descriptor)
{
    return ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP;
}

/** Makes a rename in \a folder last; it is valid already, so a failure isn't one of the relay. */
void synchronizeFolder(const QString& folder)
{
    const int descriptor
        = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

AtomicFile::AtomicFile(const QString& target)
    : kelmQFile(QString()), m_name(target), m_target(withoutLinks(target, m_unresolved))
{
    setFileName(nameBeside(m_target));
}

AtomicFile::~AtomicFile()
{
    close();
    if (m_pending)
        QFile::remove();
}

void AtomicFile::create()
{
    if (m_unresolved != 0)
        fail(systemReason(m_unresolved));
    const QFileInfo info(m_target);
    if (info.isDir() || m_name.endsWith(QLatin1Char('/')))
        fail(systemReason(EISDIR));
    if (info.exists() && !info.isFile())
        fail(QStringLiteral("It is no regular file that could be replaced"));
    if (info.exists() && !info.isWritable())
        fail(systemReason(EACCES));
    // Unbuffered, so that every write tells at once whether the disk took it. Appending, so that a
    // seek which fails can't move what is written.
    if (!open(QIODevice::Append | QIODevice::NewOnly | QIODevice::Unbuffered))
        fail(errorString());
    m_pending = true;
}

void AtomicFile::finish(qint64 size)
{
    if (failed())
        fail(m_writeFailure);
    struct stat status = {};
    if (::fstat(handle(), &status) != 0)
        fail(systemReason(errno));
    if (m_written != size || status.st_size != size)
        fail(QStringLiteral("It got %1 of %2 bytes").arg(status.st_size).arg(size));
    takeAttributes();
    if (!synchronized(handle()))
        fail(systemReason(errno));
}

void AtomicFile::replaceTarget()
{
    close();
    if (ioFailureDetected())
        fail(errorString());
    if (::rename(QFile::encodeName(fileName()).constData(), QFile::encodeName(m_target).constData())
        != 0)
        fail(systemReason(errno));
    m_pending = false;
    synchronizeFolder(QFileInfo(m_target).path());
}

bool AtomicFile::failed() const
{
    return !m_writeFailure.isEmpty();
}

qint64 AtomicFile::writeData(const char* data, qint64 size)
{
    qint64 written = 0;
    while (written < size && !failed()) {
        // Of a full disk a first write gets a part in, and only the next one hears why.
        const qint64 count = kelmQFile::writeData(data + written, size - written);
        if (count <= 0)
            m_writeFailure = ioFailureDetected() ? errorString() : systemReason(EIO);
        written += std::max<qint64>(count, 0);
    }
    m_written += written;
    return written > 0 || size == 0 ? written : -1;
}

void AtomicFile::fail(const QString& reason) const
{
    throw kel::IOException(QStringLiteral("cannot save %1: %2").arg(m_name, reason));
}

/** Those of the file that will be replaced; a new one has what the umask gave it. */
void AtomicFile::takeAttributes()
{
    struct stat old = {};
    if (::stat(QFile::encodeName(m_target).constData(), &old) != 0) {
        if (errno != ENOENT)
            fail(systemReason(errno));
        return;
    }
    const uid_t anyOwner = uid_t(-1);
    const bool groupKept = ::fchown(handle(), old.st_uid, old.st_gid) == 0
                           || ::fchown(handle(), anyOwner, old.st_gid) == 0;
    // Without the group, its permissions would go to another one.
    const mode_t permissions = S_IRWXU | S_IRWXO | (groupKept ? S_IRWXG : 0);
    if (::fchmod(handle(), old.st_mode & permissions) != 0)
        fail(systemReason(errno));
}
