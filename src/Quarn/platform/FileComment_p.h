#ifndef QUARN_PLATFORM_FILECOMMENT_P_H
#define QUARN_PLATFORM_FILECOMMENT_P_H

#include <QByteArray>
#include <QString>

namespace kel {

/**
 * The comment that is stored with the file or folder at \a path, in UTF-8 unless another program
 * wrote it; empty when it has none or not all of it can be read. Links are followed: a comment
 * belongs to a file, however its path is written. \a suffix, such as ":comment", names the place
 * where it may be, see setFileComment().
 */
QByteArray fileComment(const QString& path, const QString& suffix);

/**
 * Stores \a text as the comment of the file or folder at \a path; an empty one takes the comment
 * away. Contents, permissions and modification time of the file stay as they are. Where the comment
 * cannot be stored, nothing happens and the former one stays. A file that does not exist is not
 * created and has none.
 *
 * Windows: the stream that \a suffix names, written through a QTextStream.
 *
 * Linux: the extended attribute user.xdg.comment. Where the file system has no such attributes or
 * the text does not fit into one, a file in the same folder with \a suffix behind its name, and
 * where the file system refuses that name, with semicolons for the colons in it. There is never an
 * old comment left at the other places, and reading looks at the attribute first. A comment can be
 * set by whom the file can be written. The text ends at its first zero character.
 */
void setFileComment(const QString& path, const QString& text, const QString& suffix);

} // namespace kel
#endif
