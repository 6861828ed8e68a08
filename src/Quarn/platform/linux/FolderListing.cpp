#include <Quarn/platform/FolderListing_p.h>

#include <Quarn/platform/linux/SystemPath_p.h>

#include <QFile>
#include <QFileInfo>

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <string_view>

namespace kel {
namespace {

struct CloseDirectory
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char byte) { return (byte & 0x80) == 0; });
}

/** Whether QDir lists \a entry of \a folder, whose name is \a name and not hidden. */
bool isListed(const QString& folder, const dirent& entry, const QString& name)
{
    if (entry.d_type == DT_REG || entry.d_type == DT_DIR)
        return true;
    const QFileInfo info(folder + QLatin1Char('/') + name);
    return info.exists() && (info.isFile() || info.isDir() || info.isSymLink());
}

} // namespace

std::optional<QStringList> visibleNames(const QString& folder)
{
    // Resources have no place in the file system; of a search path this is the folder it leads to.
    const QFileInfo info(folder);
    if (!info.isNativePath() || !info.isDir())
        return std::nullopt;
    const QString path = info.filePath();
    const std::unique_ptr<DIR, CloseDirectory> directory(::opendir(systemPath(path).constData()));
    if (!directory && errno == ENOMEM)
        throw std::bad_alloc();
    QStringList names;
    while (const dirent* entry = directory ? ::readdir(directory.get()) : nullptr) {
        if (entry->d_name[0] == '.')
            continue; // hidden, as are "." and ".."
        const QString name = QFile::decodeName(entry->d_name);
        if (!isAscii(entry->d_name) && QFile::encodeName(name) != entry->d_name)
            return std::nullopt; // broken, or with a byte order mark: QDir knows what it lists
        if (isListed(path, *entry, name))
            names.append(name);
    }
    return names;
}

} // namespace kel
