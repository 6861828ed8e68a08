#include <Quarn/filejobs/Search_p.h>

#include <Quarn/filejobs/EntryPath_p.h>

namespace kel {

Search::Search(WorkLog& log, const FindOptions& options, const Found& found)
    : TreeWalk(log, false), m_filters(options.nameFilters), m_recursive(options.recursive),
      m_hidden(options.hidden), m_found(found)
{ }

bool Search::takesAtOnce(const OpenFolder& folder, SystemNameView name, EntryType type)
{
    if (!log().advance(1, 0, [&] { return pathOf(name); }) || (!m_hidden && name.front() == '.'))
        return true;
    if (type == EntryType::Folder)
        return !m_recursive;
    if (type != EntryType::File && type != EntryType::Link)
        return true;
    const QString shown = displayName(name);
    if (m_filters.fit(shown) && (type == EntryType::File || folder.leadsToFile(SystemName(name)))) {
        log().addDone(1, 0);
        m_found(pathIn(folderPath(), shown));
    }
    return true;
}

} // namespace kel
