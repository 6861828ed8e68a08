#include <Quarn/platform/SpecialFolders_p.h>

#include <QStandardPaths>

namespace kel {

QString specialFolder(int csidl)
{
    switch (csidl) {
    case DocumentsFolder:
        return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    case TrashFolder: // the home trash of freedesktop.org
        return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
               + QLatin1String("/Trash/files");
    case RoamingDataFolder:
        return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    case LocalDataFolder:
        return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    case ProgramsFolder:
        return QStringLiteral("/usr");
    case OtherProgramsFolder:
        return QStringLiteral("/opt");
    default:
        return QString();
    }
}

} // namespace kel
