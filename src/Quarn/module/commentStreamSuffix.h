#ifndef QUARN_MODULE_COMMENTSTREAMSUFFIX_H
#define QUARN_MODULE_COMMENTSTREAMSUFFIX_H

#include <Quarn/quarn_export.h>

#include <QString>

namespace kel {

/**
 * ":comment": behind the path of a file it names the stream, or on file systems without attributes
 * the file beside it, that keeps the file's comment. It exists as long as the library is loaded,
 * but is not yet there for the start-up code of the library itself.
 *
 * \par Threads
 * Any may read it: it never changes.
 */
QUARN_EXPORT extern const QString commentStreamSuffix;

} // namespace kel
#endif
