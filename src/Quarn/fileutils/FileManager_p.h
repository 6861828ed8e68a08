#ifndef QUARN_FILEUTILS_FILEMANAGER_P_H
#define QUARN_FILEUTILS_FILEMANAGER_P_H

class QString;

namespace kel {

/**
 * Shows \a item, the absolute path of something that exists, selected in a window of the system's
 * file manager. Returns at once and reports nothing. May be called from any thread; what one thread
 * asks for is shown in that order.
 */
void showInFileManager(const QString& item);

} // namespace kel
#endif
