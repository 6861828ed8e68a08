#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/fileutils/NameEndings_p.h>
#include <Quarn/platform/FileIdentity_p.h>
#include <Quarn/platform/NameOrder_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QDirIterator>
#include <QSet>

#include <algorithm>
#include <optional>
#include <vector>

namespace kel {
namespace {

constexpr QDir::Filters filesAndFolders = QDir::Files | QDir::AllDirs | QDir::NoDotAndDotDot;
constexpr QDir::SortFlags defaultOrder = QDir::Name | QDir::IgnoreCase; // of QDir

/** The folders that a walk came to, so that links neither repeat one nor lead in a circle. */
class Visited
{
public:
    /** Whether \a folder is new. One without identity, such as a resource, cannot be a link's. */
    bool add(const QString& folder)
    {
        const QByteArray identity = fileIdentity(folder);
        const auto before = m_identities.size();
        m_identities.insert(identity);
        return identity.isEmpty() || m_identities.size() > before;
    }

private:
    QSet<QByteArray> m_identities;
};

/** A folder whose entries a walk goes through. */
struct Level
{
    QFileInfoList entries;
    int next = 0;
};

/** \a dir without the listing that it may remember, and shared with nobody. */
QDir fresh(const QDir& dir)
{
    QDir copy(dir.path());
    copy.setNameFilters(dir.nameFilters());
    copy.setFilter(dir.filter());
    copy.setSorting(dir.sorting());
    return copy;
}

/** Folders, and the files that fit \a endings, in QDir's own order. */
QFileInfoList listByName(const QDir& folder, const NameEndings& endings)
{
    QFileInfoList entries = folder.entryInfoList(QStringList(), filesAndFolders, QDir::Unsorted);
    const auto isUnfit = [&endings](const QFileInfo& entry) {
        return !endings.fit(entry.fileName()) && !entry.isDir();
    };
    entries.erase(std::remove_if(entries.begin(), entries.end(), isUnfit), entries.end());
    sortByName(entries, [](const QFileInfo& entry) { return entry.fileName(); });
    return entries;
}

bool isDots(const QFileInfo& entry)
{
    const QString name = entry.fileName();
    return name == QLatin1String(".") || name == QLatin1String("..");
}

} // namespace

qint64 FileUtils::dirSize(const QDir& dir, const QStringList& nameFilters, QDir::Filters filters,
                          bool recursive)
{
    if (!hasSystemForm(dir.path()))
        return 0;
    qint64 size = 0;
    Visited visited;
    std::vector<QDir> pending{fresh(dir)};
    while (!pending.empty()) {
        const QDir folder = pending.back();
        pending.pop_back();
        if (!visited.add(folder.path()))
            continue;
        const QDir::Filters listed = filters == QDir::NoFilter ? folder.filter() : filters;
        const QStringList& names = nameFilters.isEmpty() ? folder.nameFilters() : nameFilters;
        // Not QDir::entryInfoList(), which sorts.
        QDirIterator entries(folder.path(), names, listed);
        while (entries.hasNext()) {
            entries.next();
            const QFileInfo entry = entries.fileInfo();
            if (entry.isFile())
                size += entry.size();
            else if (recursive && entry.isDir() && !isDots(entry))
                pending.emplace_back(entry.absoluteFilePath());
        }
    }
    return size;
}

QList<QFileInfo> FileUtils::findFiles(const QDir& dir, const QStringList& nameFilters,
                                      bool recursive, QDir::SortFlags sort)
{
    QList<QFileInfo> result;
    findFiles(dir, nameFilters, recursive, sort, result);
    return result;
}

QList<QFileInfo> FileUtils::findFiles(const QDir& dir, const QString& patterns, bool recursive,
                                      QDir::SortFlags sort)
{
    return findFiles(dir, patterns.split(QStringLiteral(";;"), Qt::SkipEmptyParts), recursive,
                     sort);
}

void FileUtils::findFiles(const QDir& dir, const QStringList& nameFilters, bool recursive,
                          QDir::SortFlags sort, QList<QFileInfo>& result)
{
    if (!hasSystemForm(dir.path()))
        return;
    Visited visited;
    std::vector<Level> levels;
    const std::optional<NameEndings> endings = NameEndings::from(nameFilters);
    const auto enter = [&](const QDir& folder) {
        if (!visited.add(folder.path()))
            return;
        // With NoSort QDir goes by its own order.
        const bool byName = (sort == QDir::NoSort ? folder.sorting() : sort) == defaultOrder;
        levels.push_back({endings && byName
                              ? listByName(folder, *endings)
                              : folder.entryInfoList(nameFilters, filesAndFolders, sort)});
    };
    enter(fresh(dir));
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.entries.size()) {
            levels.pop_back();
            continue;
        }
        const QFileInfo entry = level.entries.at(level.next++);
        if (!entry.isDir())
            result.append(entry);
        else if (recursive)
            enter(QDir(entry.absoluteFilePath()));
    }
}

} // namespace kel
