#include <Quarn/platform/FileComment_p.h>

#include <Quarn/platform/linux/CommentSidecar_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QFile>

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace kel {
namespace {

constexpr char attribute[] = "user.xdg.comment";

struct Free
{
    void operator()(char* memory) const { std::free(memory); }
};

/** The one path of the file at \a path, whose links are followed; empty when there is none. */
QByteArray canonicalPath(const QString& path)
{
    const std::unique_ptr<char, Free> real(::realpath(systemPath(path).constData(), nullptr));
    return QByteArray(real.get());
}

bool setAttribute(const QByteArray& file, const QByteArray& comment)
{
    return ::lsetxattr(file.constData(), attribute, comment.constData(),
                       std::size_t(comment.size()), 0)
           == 0;
}

void removeComment(const QByteArray& file, CommentSidecar& sidecar)
{
    if (sidecar.remove())
        ::lremovexattr(file.constData(), attribute);
    else
        setAttribute(file, QByteArray()); // hides what cannot be removed
}

} // namespace

QByteArray fileComment(const QString& path, const QString& suffix)
{
    const QByteArray file = canonicalPath(path);
    QByteArray value(XATTR_SIZE_MAX, Qt::Uninitialized); // one call, so no change in between
    const auto size
        = ::lgetxattr(file.constData(), attribute, value.data(), std::size_t(value.size()));
    if (size >= 0)
        return value.left(int(size));
    return isWithoutAttribute(errno) ? CommentSidecar(file, QFile::encodeName(suffix)).read()
                                     : QByteArray();
}

void setFileComment(const QString& path, const QString& text, const QString& suffix)
{
    const QByteArray file = canonicalPath(path);
    if (::faccessat(AT_FDCWD, file.constData(), W_OK, AT_EACCESS) != 0)
        return;
    QByteArray comment = text.toUtf8();
    comment.truncate(int(qstrlen(comment.constData())));

    CommentSidecar sidecar(file, QFile::encodeName(suffix));
    if (comment.isEmpty())
        removeComment(file, sidecar);
    else if (setAttribute(file, comment))
        sidecar.remove();
    else if (CommentSidecar::standsInAfter(errno) && sidecar.replace(comment))
        ::lremovexattr(file.constData(), attribute);
}

} // namespace kel
