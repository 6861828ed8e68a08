#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/platform/Trash_p.h>

namespace kel {

bool FileUtils::moveToTrash(QFileInfo info)
{
    return bool(kel::moveToTrash(QDir::cleanPath(info.absoluteFilePath())));
}

} // namespace kel
