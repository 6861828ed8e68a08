#ifndef QUARN_PLATFORM_FILEMANAGER_P_H
#define QUARN_PLATFORM_FILEMANAGER_P_H

class QString;

namespace kel {

/**
 * Shows \a item, the absolute path of something that exists, selected in a window of the system's
 * file manager. Returns at once and reports nothing.
 *
 * Windows starts explorer.exe. Linux asks the file manager on the session bus
 * (org.freedesktop.FileManager1); where there is no bus, none that answers, or no such file
 * manager, xdg-open is started for the folder that holds the item. A bus is never started. The
 * request is sent and its answer handled by way of the application's main thread, which has to go
 * on running its event loop for it; without an application xdg-open is started at once.
 */
void showInFileManager(const QString& item);

} // namespace kel
#endif
