#include <Quarn/filejobs/Transfer_p.h>

namespace kel {
namespace {

constexpr int mostConflicts = 1000; // then the system says "there already" of what isn't there

/** "name (2).txt"; the counter of a folder is at its end, as it has no extension. */
SystemName numberedName(const SystemName& name, int number, bool isFolder)
{
    const SystemName counter = systemName(QStringLiteral(" (%1)").arg(number));
    const auto dot = name.rfind('.');
    if (isFolder || dot == SystemName::npos || dot == 0)
        return name + counter;
    return name.substr(0, dot) + counter + name.substr(dot);
}

} // namespace

/** Where \a entry goes; nothing when it goes nowhere, which has been told if it is to be. */
std::optional<Transfer::Destination> Transfer::destinationOf(const Entry& entry)
{
    EntryStatus there;
    const int error
        = level().isNew ? systemError::notThere : m_targets.top().status(entry.wantedName, there);
    if (error == systemError::none)
        return resolve(entry);
    if (error == systemError::notThere)
        return Destination{entry.wantedName, Destination::New};
    failTarget(entry.wantedName, FileStep::Look, error);
    return std::nullopt;
}

/** The same when something is there. */
std::optional<Transfer::Destination> Transfer::resolve(const Entry& entry)
{
    EntryStatus there;
    const int error = ++m_conflicts > mostConflicts
                          ? systemError::alreadyThere
                          : m_targets.top().status(entry.wantedName, there);
    if (error == systemError::notThere) // not any more
        return Destination{entry.wantedName, Destination::New};
    if (error != systemError::none) {
        failTarget(entry.wantedName, FileStep::Look, error);
        return std::nullopt;
    }
    const bool areFolders
        = entry.status.type == EntryType::Folder && there.type == EntryType::Folder;
    switch (policyFor(entry, there)) {
    case ConflictPolicy::Fail:
        failTarget(entry.wantedName, FileStep::Rename, systemError::alreadyThere);
        return std::nullopt;
    case ConflictPolicy::Skip:
        if (areFolders && !(there.id == entry.status.id))
            return Destination{entry.wantedName, Destination::Merging};
        level().whole = false;
        m_log.advance(1, entry.status.size, [&] { return sourcePath(entry.name); });
        return std::nullopt;
    case ConflictPolicy::Overwrite:
        return overwriting(entry, there);
    case ConflictPolicy::UniqueName:
        return uniqueName(entry);
    case ConflictPolicy::Cancel:
        break;
    }
    m_log.cancel();
    level().whole = false;
    return std::nullopt;
}

std::optional<Transfer::Destination> Transfer::overwriting(const Entry& entry,
                                                           const EntryStatus& there)
{
    const bool isFolder = entry.status.type == EntryType::Folder;
    const bool isOverFolder = there.type == EntryType::Folder;
    int error = systemError::none;
    if (there.id == entry.status.id)
        error = systemError::alreadyThere; // would replace itself
    else if (isOverFolder && !isFolder)
        error = systemError::isFolder;
    else if (isFolder && !isOverFolder)
        error = systemError::isNoFolder;
    if (error == systemError::none)
        return Destination{entry.wantedName,
                           isFolder ? Destination::Merging : Destination::Replacing};
    failTarget(entry.wantedName, FileStep::Rename, error);
    return std::nullopt;
}

std::optional<Transfer::Destination> Transfer::uniqueName(const Entry& entry)
{
    const bool isFolder = entry.status.type == EntryType::Folder;
    for (int number = 2;; ++number) {
        EntryStatus there;
        SystemName name = numberedName(entry.wantedName, number, isFolder);
        const int error = m_targets.top().status(name, there);
        if (error == systemError::notThere)
            return Destination{std::move(name), Destination::New};
        if (error != systemError::none) { // it may have become too long
            failTarget(name, FileStep::Look, error);
            return std::nullopt;
        }
    }
}

ConflictPolicy Transfer::policyFor(const Entry& entry, const EntryStatus& there)
{
    if (!m_options.ask)
        return m_options.conflict;
    return m_options.ask({sourcePath(entry.name), targetPath(entry.wantedName),
                          entry.status.type == EntryType::Folder, there.type == EntryType::Folder});
}

} // namespace kel
