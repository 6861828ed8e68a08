#include <Quarn/filejobs/Transfer_p.h>

#include <Quarn/module/commentStreamSuffix.h>

#include <algorithm>

namespace kel {

/** Where comments are kept in files of their own, these may be on their way by themselves. */
bool Transfer::takesComment(const Entry& entry) const
{
    if (entry.status.type != EntryType::File && entry.status.type != EntryType::Folder)
        return false;
    const std::vector<SystemName> files
        = EntryCopier::commentFiles(entry.name, commentStreamSuffix);
    return std::none_of(files.begin(), files.end(), [this](const SystemName& file) {
        return m_allGiven.count(sourcePath(file)) > 0;
    });
}

bool Transfer::keepComment(const Entry& entry, const Destination& destination)
{
    // What is moved with its folder may be in its place already, and isn't to be taken away again.
    const bool isElsewhere
        = destination.name != entry.name || destination.how == Destination::Replacing;
    const bool isAlone = isTop() || (m_kind == Copy && isElsewhere);
    if (entry.status.type != EntryType::File
        || !(m_copier.hasCommentLeft() || (isAlone && takesComment(entry))))
        return true;
    return settleComment(destination.name,
                         m_copier.copyComment(m_sources.top(), entry.name, m_targets.top(),
                                              destination.name, commentStreamSuffix));
}

bool Transfer::settleComment(const SystemName& name, const EntryCopier::Outcome& outcome)
{
    if (outcome.ok())
        return true;
    m_log.fail(targetPath(name), outcome.step, outcome.error);
    level().whole = false;
    return false;
}

} // namespace kel
