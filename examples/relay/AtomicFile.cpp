#include "AtomicFile.h"

#include "Console.h"

#include <Quarn/companion/IOException.h>

#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int mostLinks = 40;

/** Where \a path leads through links; empty when they go round in circles. */
QString withoutLinks(const QString& path)
{
    QString result = path;
    for (int links = 0; links < mostLinks; ++links) {
        const QFileInfo info(result);
        if (!info.isSymLink())
            return info.absoluteFilePath();
        result = info.symLinkTarget();
    }
    return QString();
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
    : kelmQFile(nameBeside(withoutLinks(target))), m_target(withoutLinks(target)), m_name(target),
      m_pending(false)
{ }

AtomicFile::~AtomicFile()
{
    close();
    if (m_pending)
        QFile::remove();
}

void AtomicFile::create()
{
    const QFileInfo info(m_target);
    if (m_target.isEmpty())
        fail(systemReason(ELOOP));
    if (info.isDir() || m_name.endsWith(QLatin1Char('/')))
        fail(systemReason(EISDIR));
    if (info.exists() && !info.isFile())
        fail(QStringLiteral("It is no regular file that could be replaced"));
    if (info.exists() && !info.isWritable())
        fail(systemReason(EACCES));
    // Unbuffered, so that every write tells at once whether the disk took it.
    if (!open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        fail(errorString());
    m_pending = true;
}

void AtomicFile::finish()
{
    if (ioFailureDetected())
        fail(errorString());
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

void AtomicFile::fail(const QString& reason) const
{
    throw kel::IOException(QStringLiteral("cannot save %1: %2").arg(m_name, reason));
}

/** Those of the file that will be replaced; a new one has what the umask gave it. */
void AtomicFile::takeAttributes()
{
    struct stat old = {};
    if (::stat(QFile::encodeName(m_target).constData(), &old) != 0)
        return;
    const uid_t anyOwner = uid_t(-1);
    const bool groupKept = ::fchown(handle(), old.st_uid, old.st_gid) == 0
                           || ::fchown(handle(), anyOwner, old.st_gid) == 0;
    // Without the group, its permissions would go to another one.
    const mode_t permissions = S_IRWXU | S_IRWXO | (groupKept ? S_IRWXG : 0);
    if (::fchmod(handle(), old.st_mode & permissions) != 0)
        fail(systemReason(errno));
}
