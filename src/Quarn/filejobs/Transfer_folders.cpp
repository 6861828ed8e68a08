#include <Quarn/filejobs/Transfer_p.h>

#include <Quarn/module/commentStreamSuffix.h>

#include <algorithm>
#include <utility>

namespace kel {

void Transfer::transferFolder(const Entry& entry, Destination destination)
{
    OpenFolder source;
    int error = source.enter(m_sources.top(), entry.name);
    if (error != systemError::none) {
        failSource(entry.name, FileStep::Open, error);
        return;
    }
    if (std::find(m_aboveTarget.begin(), m_aboveTarget.end(), source.id()) != m_aboveTarget.end()) {
        failTarget(destination.name, FileStep::Create, systemError::intoItself);
        return;
    }
    if (!makeFolder(entry, destination))
        return;
    OpenFolder target;
    error = target.enter(m_targets.top(), destination.name);
    if (error != systemError::none) {
        failTarget(destination.name, FileStep::Open, error);
        return;
    }
    if (isTop())
        m_log.addPlace(m_given, targetPath(destination.name));

    Level next;
    next.sourceName = entry.name;
    next.targetName = destination.name;
    next.status = entry.status;
    next.isNew = destination.how == Destination::New;
    next.triesToRename = level().triesToRename && !next.isNew;
    next.sourcePathSize = int(m_sourcePath.size());
    next.targetPathSize = int(m_targetPath.size());
    error = source.list([&](SystemNameView name, EntryType) {
        next.entries.emplace_back(name);
        return true;
    });
    if (error != systemError::none) {
        failSource(entry.name, FileStep::List, error);
        next.whole = false;
    }
    m_sourcePath = sourcePath(entry.name);
    m_targetPath = targetPath(destination.name);
    m_sources.push(std::move(source));
    m_targets.push(std::move(target));
    m_levels.push_back(std::move(next));
}

bool Transfer::makeFolder(const Entry& entry, Destination& destination)
{
    while (destination.how != Destination::Merging) {
        int error = m_targets.top().makeFolder(destination.name);
        if (error == systemError::none && m_kind == Move) {
            error = m_targets.top().sync();
            if (error != systemError::none)
                m_targets.top().removeFolder(destination.name);
        }
        if (error == systemError::none)
            return true;
        if (error != systemError::alreadyThere) {
            failTarget(destination.name, FileStep::Create, error);
            return false;
        }
        const std::optional<Destination> another = resolve(entry);
        if (!another)
            return false;
        destination = *another;
    }
    return true;
}

void Transfer::leaveFolder()
{
    Level left = std::move(m_levels.back());
    finishFolder(left);
    removeCopied(left);
    m_levels.pop_back();
    const int sourceError = m_sources.pop();
    if (m_levels.empty())
        return;
    const int targetError = m_targets.pop();
    if (sourceError != systemError::none || targetError != systemError::none) {
        m_log.fail(sourceError != systemError::none ? m_sourcePath : m_targetPath, FileStep::Look,
                   sourceError != systemError::none ? sourceError : targetError);
        abandonSource();
        return;
    }
    m_sourcePath.truncate(left.sourcePathSize);
    m_targetPath.truncate(left.targetPathSize);
    settleFolder(left);
    m_log.advance(1, 0, [&] { return sourcePath(left.sourceName); });
}

/** Nothing is made in it any more. */
void Transfer::finishFolder(Level& left)
{
    if (!left.isNew)
        return;
    const EntryCopier::Outcome outcome
        = m_copier.copyAttributes(m_sources.top(), m_targets.top(), left.status);
    left.hasCommentLeft = m_copier.hasCommentLeft();
    if (!outcome.ok()) {
        m_log.fail(m_targetPath, outcome.step, outcome.error);
        left.whole = false; // so a move leaves the one that has them
    }
}

/** What is done to it from the folders that both are in. */
void Transfer::settleFolder(const Level& left)
{
    const Entry entry{left.sourceName, left.targetName, left.status};
    const bool takesIt = left.isNew && isTop() && takesComment(entry);
    bool isWhole = left.whole && left.next == left.entries.size();
    if (left.hasCommentLeft || takesIt)
        isWhole
            = settleComment(left.targetName,
                            m_copier.copyComment(m_sources.top(), left.sourceName, m_targets.top(),
                                                 left.targetName, commentStreamSuffix))
              && isWhole;
    if (left.isNew)
        m_log.addDone(1, 0);
    if (!isWhole) {
        level().whole = false;
    } else if (m_kind == Move) {
        const int error = removeMoved(entry, takesIt);
        if (error != systemError::none && error != systemError::notThere)
            failSource(left.sourceName, FileStep::Remove, error);
    }
}

/** Nobody knows any more where the folders above are. */
void Transfer::abandonSource()
{
    m_targetPath.truncate(m_levels.size() > 1 ? m_levels[1].targetPathSize : m_targetPath.size());
    m_levels.clear();
    m_sources.clear();
    m_targets.shrinkToBottom();
}

} // namespace kel
