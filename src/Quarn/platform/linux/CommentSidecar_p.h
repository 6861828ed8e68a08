#ifndef QUARN_PLATFORM_LINUX_COMMENTSIDECAR_P_H
#define QUARN_PLATFORM_LINUX_COMMENTSIDECAR_P_H

#include <Quarn/platform/linux/FileDescriptor_p.h>

#include <QByteArray>

#include <array>

struct stat;

namespace kel {

/**
 * The file beside another one that keeps the comment of that. It is called as the file with a
 * suffix, or, where the file system refuses colons, with semicolons in their place.
 *
 * The folder may belong to everybody: all is done by names in the opened folder, no link is
 * followed, and what others have put there is not taken for a comment.
 */
class CommentSidecar
{
public:
    using Names = std::array<QByteArray, 2>; // the usual one, and the one for FAT

    static Names namesFor(const QByteArray& file, const QByteArray& suffix);

    /** Whether it has to stand in for an attribute that could not be set with \a error. */
    static bool standsInAfter(int error);

    /** \a file is an absolute path without links. The root has no sidecar. */
    CommentSidecar(const QByteArray& file, const QByteArray& suffix);
    /** \a file is a name in the open \a folder. */
    CommentSidecar(FileDescriptor folder, const QByteArray& file, const QByteArray& suffix);

    /** The comment; empty when there is none or it cannot be read to its end. */
    QByteArray read() const;
    /** The same of a file that is called otherwise by now, and has that \a status. */
    QByteArray readOf(const struct stat& status) const;

    /** Puts \a comment in the place of a former one, which stays when that fails. */
    bool replace(const QByteArray& comment);

    /** \return whether there is none any more */
    bool remove();

    /** Takes over the comment of the same file from before it was renamed; if it has none, neither. */
    bool takeFrom(CommentSidecar& former);

private:
    bool statusOfFile(struct stat& status) const;
    bool publish(const QByteArray& temporary);

    FileDescriptor m_folder;
    QByteArray m_file; ///< its name in the folder
    Names m_names; ///< of the sidecar
};

} // namespace kel
#endif
