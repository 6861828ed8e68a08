#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/companion/NameFilters_p.h>
#include <Quarn/platform/FileIdentity_p.h>
#include <Quarn/platform/NameOrder_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QDirIterator>
#include <QHash>

#include <algorithm>
#include <deque>
#include <iterator>
#include <list>
#include <unordered_set>
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
        return m_identities.insert(identity).second || identity.isEmpty();
    }

private:
    // Not of Qt, whose sets end the program when there is no memory.
    std::unordered_set<QByteArray> m_identities;
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

/** Folders, and the files that fit \a filters, in QDir's own order. */
QFileInfoList listByName(const QDir& folder, const NameFilters& filters)
{
    QFileInfoList entries = folder.entryInfoList(QStringList(), filesAndFolders, QDir::Unsorted);
    const auto isUnfit = [&filters](const QFileInfo& entry) {
        return !filters.fit(entry.fileName()) && !entry.isDir();
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

/**
 * Collects the files of a tree. Links to folders are walked last, so that a folder is found where it
 * is rather than where a link to it is; the files behind a link have their place kept for them.
 */
class Search
{
public:
    Search(const QStringList& nameFilters, bool recursive, QDir::SortFlags sort)
        : m_nameFilters(nameFilters), m_filters(nameFilters), m_recursive(recursive), m_sort(sort)
    { }

    void run(const QDir& dir, QList<QFileInfo>& result)
    {
        m_pending.push_back({dir, m_parts.emplace(m_parts.end())});
        while (!m_pending.empty()) {
            const Pending next = m_pending.front();
            m_pending.pop_front();
            walk(next.folder, next.place);
        }
        for (const QFileInfoList& part : m_parts)
            result.append(part);
    }

private:
    using Parts = std::list<QFileInfoList>;

    /** A folder to go to, and the place in the result for what is found there. */
    struct Pending
    {
        QDir folder;
        Parts::iterator place;
    };

    void walk(const QDir& dir, Parts::iterator part)
    {
        std::vector<Level> levels;
        enter(dir, levels);
        while (!levels.empty()) {
            Level& level = levels.back();
            if (level.next == level.entries.size()) {
                levels.pop_back();
                continue;
            }
            const QFileInfo entry = level.entries.at(level.next++);
            if (!entry.isDir())
                part->append(entry);
            else if (m_recursive && (entry.isSymLink() || entry.isJunction()))
                part = setAside(QDir(entry.absoluteFilePath()), part);
            else if (m_recursive)
                enter(QDir(entry.absoluteFilePath()), levels);
        }
    }

    void enter(const QDir& folder, std::vector<Level>& levels)
    {
        if (!m_visited.add(folder.path()))
            return;
        // With NoSort QDir goes by its own order.
        const bool byName = (m_sort == QDir::NoSort ? folder.sorting() : m_sort) == defaultOrder;
        levels.push_back({m_filters.areEndings() && byName
                              ? listByName(folder, m_filters)
                              : folder.entryInfoList(m_nameFilters, filesAndFolders, m_sort)});
    }

    /** Keeps a place behind \a part for the files of \a link; the part for what comes after it. */
    Parts::iterator setAside(const QDir& link, Parts::iterator part)
    {
        const auto place = m_parts.emplace(std::next(part));
        m_pending.push_back({link, place});
        return m_parts.emplace(std::next(place));
    }

    const QStringList m_nameFilters;
    const NameFilters m_filters;
    const bool m_recursive;
    const QDir::SortFlags m_sort;
    Visited m_visited;
    std::deque<Pending> m_pending;
    Parts m_parts; // joined, the result
};

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
    if (hasSystemForm(dir.path()))
        Search(nameFilters, recursive, sort).run(fresh(dir), result);
}

} // namespace kel
