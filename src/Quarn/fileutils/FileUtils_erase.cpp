#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/platform/FolderRemoval_p.h>

#include <QFile>

namespace kel {

bool FileUtils::erase(const QFileInfo& info)
{
    // What the caller's object remembers may be long past.
    const QFileInfo entry(info.filePath());
    if (entry.isFile())
        return QFile::remove(entry.filePath());
    return entry.isDir() && removeFolder(QDir::cleanPath(entry.absoluteFilePath()));
}

bool FileUtils::erase(const QString& path)
{
    return erase(QFileInfo(path));
}

} // namespace kel
