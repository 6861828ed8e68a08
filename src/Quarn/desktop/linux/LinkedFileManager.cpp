#include <Quarn/desktop/desktopLibrary_p.h>
#include <Quarn/fileutils/FileManager_p.h>

namespace kel {

void showInFileManager(const QString& item)
{
    quarnShowInFileManager1(item);
}

} // namespace kel
