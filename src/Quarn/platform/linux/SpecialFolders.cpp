#include <Quarn/platform/SpecialFolders_p.h>

#include <QDir>
#include <QStandardPaths>

namespace kel {
namespace {

/** The system's folder, or \a inHome where a relative path, which is not valid, is set for it. */
QString dataFolder(QStandardPaths::StandardLocation location, QLatin1String inHome)
{
    const QString folder = QStandardPaths::writableLocation(location);
    return QDir::isRelativePath(folder) ? QDir::homePath() + inHome : folder; // Qt 5 takes it
}

QString localDataFolder()
{
    return dataFolder(QStandardPaths::GenericDataLocation, QLatin1String("/.local/share"));
}

} // namespace

QString specialFolder(int csidl)
{
    switch (csidl) {
    case DocumentsFolder:
        return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    case TrashFolder: // the home trash of freedesktop.org
        return localDataFolder() + QLatin1String("/Trash/files");
    case RoamingDataFolder:
        return dataFolder(QStandardPaths::GenericConfigLocation, QLatin1String("/.config"));
    case LocalDataFolder:
        return localDataFolder();
    case ProgramsFolder:
        return QStringLiteral("/usr");
    case OtherProgramsFolder:
        return QStringLiteral("/opt");
    default:
        return QString();
    }
}

} // namespace kel
