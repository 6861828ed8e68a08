#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/names/TakenNames_p.h>
#include <Quarn/platform/PrivateFolder_p.h>
#include <Quarn/platform/SpecialFolders_p.h>

#include <limits>

namespace kel {
namespace {

QDir folderOrHome(const QString& path)
{
    return path.isEmpty() ? QDir::home() : QDir(path);
}

bool mustBe(const QFileInfo& info, bool rightKind, QLatin1String missing, QLatin1String otherKind)
{
    if (!info.exists())
        throw FileException(info, QFile::OpenError, missing);
    if (!rightKind)
        throw FileException(info, QFile::OpenError, otherKind);
    return true;
}

} // namespace

QString FileUtils::WinFindFolder(int csidl)
{
    return specialFolder(csidl);
}

QDir FileUtils::userDesktop()
{
    const QDir home = QDir::home();
    const QString desktop = QStringLiteral("Desktop");
    return home.exists(desktop) ? QDir(home.absoluteFilePath(desktop)) : home;
}

QDir FileUtils::userLogDir()
{
    return folderOrHome(WinFindFolder(LocalDataFolder));
}

QDir FileUtils::userDataDir()
{
    return folderOrHome(WinFindFolder(RoamingDataFolder));
}

QDir FileUtils::userDocumentsDir()
{
    return folderOrHome(WinFindFolder(DocumentsFolder));
}

QDir FileUtils::userTrash()
{
    return folderOrHome(WinFindFolder(TrashFolder));
}

bool FileUtils::inApplicationsDir(const QString& path)
{
    const auto beginsWith = [&path](int csidl) {
        const QString folder = WinFindFolder(csidl);
        return !folder.isEmpty() && path.startsWith(folder);
    };
    return beginsWith(ProgramsFolder) || beginsWith(OtherProgramsFolder);
}

QString FileUtils::createTempDir()
{
    const QDir temp = QDir::temp();
    temp.mkpath(QStringLiteral(".")); // Windows may name one that is missing
    TakenNames taken(temp, true);
    for (int number = 1;; ++number) {
        const QString name = QLatin1String("temp") + QString::number(number);
        const bool last = number == std::numeric_limits<int>::max();
        if (taken.contains(name) && !last)
            continue;
        const QString path = temp.absoluteFilePath(name);
        if (createPrivateFolder(path) != FolderCreation::Taken || last)
            return path;
    }
}

bool FileUtils::fileMustExist(const QString& path)
{
    const QFileInfo info(path);
    return mustBe(info, info.isFile(), QLatin1String("file not found"),
                  QLatin1String("is not a file"));
}

bool FileUtils::dirMustExist(const QString& path)
{
    const QFileInfo info(path);
    return mustBe(info, info.isDir(), QLatin1String("directory not found"),
                  QLatin1String("is not a directory"));
}

} // namespace kel
