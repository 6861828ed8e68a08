#include <Quarn/platform/FolderListing_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QDirIterator>

namespace kel {

QStringList visibleNames(const QString& folder)
{
    if (!hasSystemForm(folder))
        return QStringList();
    if (std::optional<QStringList> names = visibleNamesOfSystem(folder))
        return *std::move(names);
    // Not QDir::entryList(), which may answer from what a caller's QDir has listed before.
    QStringList names;
    QDirIterator entries(folder, QDir::AllEntries | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        entries.next();
        names.append(entries.fileName());
    }
    return names;
}

} // namespace kel
