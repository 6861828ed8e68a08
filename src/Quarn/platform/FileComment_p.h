#ifndef QUARN_PLATFORM_FILECOMMENT_P_H
#define QUARN_PLATFORM_FILECOMMENT_P_H

#include <QByteArray>
#include <QString>

namespace kel {

/**
 * The comment that is stored with the file or folder at \a path, in UTF-8 unless another program
 * wrote it; empty when it has none or cannot be read.
 */
QByteArray fileComment(const QString& path);

/**
 * Stores \a text as the comment of the file or folder at \a path; an empty one takes the comment
 * away. Contents, permissions and modification time of the file stay as they are. Where the comment
 * cannot be stored, nothing happens and the former one stays.
 *
 * Windows: the named stream "comment", written through a QTextStream.
 *
 * Linux: the extended attribute user.xdg.comment. Where the file system has no such attributes or
 * the text does not fit into one, a file beside \a path, with commentStreamSuffix behind its name
 * and the same permissions to read and write. There is never an old comment left at the other
 * place, and reading looks at the attribute first. A comment can be set by whom the file can be
 * written, and a file that does not exist has none. The text ends at its first zero character.
 */
void setFileComment(const QString& path, const QString& text);

} // namespace kel
#endif
