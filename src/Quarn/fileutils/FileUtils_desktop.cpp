#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/fileutils/FileManager_p.h>

namespace kel {

void FileUtils::showDesktopWindow(const QString& dir, const QString& file)
{
    const QFileInfo item = file.isEmpty() ? QFileInfo(dir) : QFileInfo(QDir(dir), file);
    if (item.exists())
        showInFileManager(QDir::cleanPath(item.absoluteFilePath()));
}

} // namespace kel
