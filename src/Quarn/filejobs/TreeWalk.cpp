#include <Quarn/filejobs/TreeWalk_p.h>

#include <Quarn/filejobs/EntryPath_p.h>

namespace kel {

void TreeWalk::walkEntry(const QString& path)
{
    const EntryPath entry(path);
    OpenFolder parent;
    EntryStatus status;
    int error = entry.isRoot() ? systemError::notPermitted : systemError::notThere;
    if (entry.isValid())
        error = parent.open(entry.folder);
    const SystemName name = systemName(entry.name);
    if (error == systemError::none)
        error = parent.status(name, status);
    m_path = entry.folder;
    if (error != systemError::none) {
        if (!m_silent)
            m_log.fail(path, FileStep::Look, error);
        return;
    }
    Level level;
    if (!takesAtOnce(parent, name, status.type))
        level.entries.emplace_back(name, status.type);
    m_folders.push(std::move(parent));
    m_levels.push_back(std::move(level));
    run();
}

void TreeWalk::walkFolder(const QString& path)
{
    OpenFolder folder;
    const int error = path.isEmpty() ? systemError::notThere : folder.open(path);
    m_path = path;
    if (error != systemError::none) {
        m_log.fail(path, FileStep::Open, error);
        return;
    }
    m_folders.push(std::move(folder));
    m_levels.emplace_back();
    const int listed = list(m_levels.back());
    if (listed != systemError::none)
        m_log.fail(path, FileStep::List, listed);
    run();
}

bool TreeWalk::take(OpenFolder&, const SystemName&)
{
    return true;
}

bool TreeWalk::takeClosed(OpenFolder&, const SystemName& name, FileStep step, int error)
{
    return fail(name, step, error);
}

bool TreeWalk::leave(OpenFolder&, const SystemName&)
{
    return true;
}

QString TreeWalk::pathOf(SystemNameView name) const
{
    return pathIn(m_path, displayName(name));
}

bool TreeWalk::fail(SystemNameView name, FileStep step, int error)
{
    if (!m_silent)
        m_log.fail(pathOf(name), step, error);
    return false;
}

void TreeWalk::run()
{
    while (!m_levels.empty() && m_log.goesOn()) {
        Level& level = m_levels.back();
        if (level.next < level.entries.size())
            step(level);
        else
            leaveLevel();
    }
    m_levels.clear();
    m_folders.clear();
}

void TreeWalk::step(Level& level)
{
    const auto& [name, type] = level.entries[level.next++];
    if (type == EntryType::Folder)
        enter(name);
    else if (!take(m_folders.top(), name))
        level.whole = false;
}

void TreeWalk::enter(const SystemName& name)
{
    OpenFolder folder;
    const int error = folder.enter(m_folders.top(), name);
    if (error != systemError::none) {
        if (!takeClosed(m_folders.top(), name, FileStep::Open, error))
            m_levels.back().whole = false;
        return;
    }
    Level level;
    level.name = name;
    level.parentPathSize = int(m_path.size());
    m_path = pathOf(name);
    m_folders.push(std::move(folder));
    m_levels.push_back(std::move(level));
    const int listed = list(m_levels.back());
    if (listed != systemError::none)
        leaveUnlisted(listed);
}

/** The folder is taken as one that could not be opened. */
void TreeWalk::leaveUnlisted(int error)
{
    const Level left = std::move(m_levels.back());
    m_levels.pop_back();
    m_path.truncate(left.parentPathSize);
    // The folder above is still open: it has been the last one a moment ago.
    m_folders.pop();
    if (!takeClosed(m_folders.top(), left.name, FileStep::List, error))
        m_levels.back().whole = false;
}

int TreeWalk::list(Level& level)
{
    const OpenFolder& folder = m_folders.top();
    return folder.list([&](SystemNameView name, EntryType type) {
        if (!takesAtOnce(folder, name, type))
            level.entries.emplace_back(name, type);
        return m_log.goesOn();
    });
}

void TreeWalk::leaveLevel()
{
    const Level left = std::move(m_levels.back());
    m_levels.pop_back();
    const int error = m_folders.pop();
    if (m_levels.empty())
        return;
    m_path.truncate(left.parentPathSize);
    if (error != systemError::none) {
        fail(left.name, FileStep::Look, error);
        m_levels.clear(); // nobody knows where those above are
        return;
    }
    if (!left.whole || !leave(m_folders.top(), left.name))
        m_levels.back().whole = false;
}

} // namespace kel
