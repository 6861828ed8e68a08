#include <Quarn/desktop/desktopLibrary_p.h>

namespace kel {

const FileDialogs& fileDialogs()
{
    return *quarnFileDialogs1();
}

} // namespace kel
