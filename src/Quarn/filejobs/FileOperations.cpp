#include <Quarn/filejobs/FileOperations.h>

#include <Quarn/filejobs/operations_p.h>

namespace kel {

FileResult FileOperations::copy(const QStringList& sources, const QString& folder,
                                const TransferOptions& options, const Progress& progress)
{
    WorkLog log(progress);
    copyEntries(sources, folder, options, log);
    return log.result();
}

FileResult FileOperations::move(const QStringList& sources, const QString& folder,
                                const TransferOptions& options, const Progress& progress)
{
    WorkLog log(progress);
    moveEntries(sources, folder, options, log);
    return log.result();
}

FileResult FileOperations::remove(const QStringList& paths, const Progress& progress)
{
    WorkLog log(progress);
    removeEntries(paths, log);
    return log.result();
}

FileResult FileOperations::trash(const QStringList& paths, const Progress& progress)
{
    WorkLog log(progress);
    trashEntries(paths, log);
    return log.result();
}

FileResult FileOperations::measure(const QStringList& paths, const Progress& progress)
{
    WorkLog log(progress);
    measureEntries(paths, log);
    return log.result();
}

FileResult FileOperations::find(const QString& folder, const FindOptions& options,
                                const std::function<void(const QString& path)>& found,
                                const Progress& progress)
{
    WorkLog log(progress);
    findEntries(folder, options, found, log);
    return log.result();
}

} // namespace kel
