#ifndef QUARN_PLATFORM_REGULARFILE_P_H
#define QUARN_PLATFORM_REGULARFILE_P_H

class QFile;

namespace kel {

/**
 * Opens \a file for unbuffered reading when its path leads to a regular file, over links too, or to
 * a resource. Never waits, as opening a pipe would, not even when the path changes meanwhile.
 */
bool openRegularFile(QFile& file);

} // namespace kel
#endif
