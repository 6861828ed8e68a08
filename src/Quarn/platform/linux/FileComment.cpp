#include <Quarn/platform/FileComment_p.h>

#include <Quarn/module/commentStreamSuffix.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>
#include <fcntl.h>
#include <linux/limits.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace kel {
namespace {

constexpr char attribute[] = "user.xdg.comment";

QByteArray sidecarComment(const QString& path)
{
    QFile sidecar(path + commentStreamSuffix);
    if (!QFileInfo(sidecar).isFile() || !sidecar.open(QIODevice::ReadOnly)) // a pipe would block
        return QByteArray();
    return sidecar.readAll();
}

bool storeInSidecar(const QString& path, const QByteArray& comment)
{
    constexpr QFile::Permissions executable
        = QFile::ExeOwner | QFile::ExeUser | QFile::ExeGroup | QFile::ExeOther;
    QSaveFile sidecar(path + commentStreamSuffix); // a full disk must not cost the old comment
    return sidecar.open(QIODevice::WriteOnly)
           && sidecar.setPermissions(QFile::permissions(path) & ~executable)
           && sidecar.write(comment) == comment.size() && sidecar.commit();
}

/** Whether a sidecar has to stand in for an attribute that could not be set with \a error. */
bool isNoRoomForAttribute(int error)
{
    return error == ENOTSUP || error == ENOSYS || error == ENOSPC || error == EDQUOT
           || error == E2BIG || error == ERANGE;
}

} // namespace

QByteArray fileComment(const QString& path)
{
    const QByteArray file = systemPath(path);
    QByteArray value(XATTR_SIZE_MAX, Qt::Uninitialized); // one call, so no change in between
    const auto size
        = ::getxattr(file.constData(), attribute, value.data(), std::size_t(value.size()));
    if (size >= 0)
        return value.left(int(size));
    return errno == ENODATA || errno == ENOTSUP ? sidecarComment(path) : QByteArray();
}

void setFileComment(const QString& path, const QString& text)
{
    const QByteArray file = systemPath(path);
    if (::faccessat(AT_FDCWD, file.constData(), W_OK, AT_EACCESS) != 0)
        return;
    QByteArray comment = text.toUtf8();
    comment.truncate(int(qstrlen(comment.constData())));

    if (comment.isEmpty()) {
        ::removexattr(file.constData(), attribute);
        QFile::remove(path + commentStreamSuffix);
    } else if (::setxattr(file.constData(), attribute, comment.constData(),
                          std::size_t(comment.size()), 0)
               == 0) {
        QFile::remove(path + commentStreamSuffix);
    } else if (isNoRoomForAttribute(errno) && storeInSidecar(path, comment)) {
        ::removexattr(file.constData(), attribute);
    }
}

} // namespace kel
