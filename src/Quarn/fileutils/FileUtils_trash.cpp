#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/platform/Trash_p.h>

namespace kel {
namespace {

FileException failure(const QString& path, const char* attempt, const QString& reason)
{
    return FileException(QFileInfo(path), QFile::UnspecifiedError,
                         QStringLiteral("could not be %1: %2").arg(QLatin1String(attempt), reason));
}

} // namespace

bool FileUtils::moveToTrash(QFileInfo info)
{
    return bool(kel::moveToTrash(QDir::cleanPath(info.absoluteFilePath())));
}

QList<TrashedFile> FileUtils::trashedFiles()
{
    QList<TrashEntry> entries;
    const int error = listTrash(entries);
    if (error != 0)
        throw failure(userTrash().path(), "listed", qt_error_string(error));
    QList<TrashedFile> files;
    for (const TrashEntry& entry : std::as_const(entries))
        files << TrashedFile{entry.path, entry.originalPath, entry.deletionDate};
    return files;
}

void FileUtils::restoreFromTrash(const TrashedFile& file)
{
    if (!QDir::isAbsolutePath(file.originalPath))
        throw failure(file.path, "restored", QStringLiteral("it is not known where it was"));
    const int error
        = kel::restoreFromTrash(QDir::cleanPath(file.path), QDir::cleanPath(file.originalPath));
    if (error != 0)
        throw failure(file.originalPath, "restored", qt_error_string(error));
}

QList<FileException> FileUtils::emptyTrash()
{
    QList<FileException> failures;
    for (const TrashFailure& each : kel::emptyTrash())
        failures << failure(each.path, "deleted", qt_error_string(each.error));
    return failures;
}

} // namespace kel
