#include <Quarn/desktop/desktopLibrary_p.h>
#include <Quarn/desktop/loadedFunction_p.h>
#include <Quarn/fileutils/FileManager_p.h>

namespace kel {

void showInFileManager(const QString& item)
{
    if (const QFunctionPointer function = loadedFunction("quarnShowInFileManager1"))
        reinterpret_cast<decltype(&quarnShowInFileManager1)>(function)(item);
}

} // namespace kel
