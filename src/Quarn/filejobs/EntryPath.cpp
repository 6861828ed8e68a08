#include <Quarn/filejobs/EntryPath_p.h>

#include <QDir>

namespace kel {

EntryPath::EntryPath(const QString& path)
{
    if (path.isEmpty()) // would be the working folder
        return;
    const QString clean = QDir::cleanPath(QDir().absoluteFilePath(path));
    const auto slash = clean.lastIndexOf(QLatin1Char('/'));
    folder = clean.left(slash + 1);
    name = clean.mid(slash + 1);
    if (folder.size() > 1 && !QDir(folder).isRoot())
        folder.chop(1);
}

QString pathIn(const QString& path, const QString& name)
{
    return path.endsWith(QLatin1Char('/')) ? path + name : path + QLatin1Char('/') + name;
}

} // namespace kel
