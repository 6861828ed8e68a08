#include <Quarn/platform/LibraryFolder_p.h>

#include <QFile>

#include <climits>

#include <dlfcn.h>

namespace kel {

QString libraryFolder()
{
    // The path that dladdr() tells is relative when the library was loaded by such a one.
    Dl_info ignored;
    void* library = nullptr;
    char folder[PATH_MAX] = {};
    if (::dladdr1(reinterpret_cast<void*>(&libraryFolder), &ignored, &library, RTLD_DL_LINKMAP)
        != 0)
        ::dlinfo(library, RTLD_DI_ORIGIN, folder);
    return QFile::decodeName(folder);
}

} // namespace kel
