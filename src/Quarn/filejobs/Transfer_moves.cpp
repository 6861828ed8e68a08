#include <Quarn/filejobs/Transfer_p.h>

#include <Quarn/module/commentStreamSuffix.h>

namespace kel {
namespace {

/** Whether nobody wrote to it. The name that a link has elsewhere may have been removed, though. */
bool isSame(const EntryStatus& left, const EntryStatus& right)
{
    return left.id == right.id && left.size == right.size && left.changed[0] == right.changed[0]
           && (left.hasOtherNames || left.changed[1] == right.changed[1]);
}

} // namespace

/** Answers false when the contents have to be moved instead, and that may be tried. */
bool Transfer::rename(const Entry& entry, Destination& destination)
{
    for (;;) {
        const int error = m_sources.top().rename(entry.name, m_targets.top(), destination.name,
                                                 destination.how == Destination::Replacing);
        if (error == systemError::none) {
            if (isTop() && takesComment(entry))
                settleComment(destination.name,
                              EntryCopier::moveComment(m_sources.top(), entry.name, m_targets.top(),
                                                       destination.name, commentStreamSuffix));
            finished(entry, destination);
            return true;
        }
        if (systemError::isOtherFileSystem(error))
            return false;
        if (error != systemError::alreadyThere) {
            failTarget(destination.name, FileStep::Rename, error);
            return true;
        }
        const std::optional<Destination> another = resolve(entry);
        if (!another)
            return true;
        destination = *another;
        if (destination.how == Destination::Merging)
            return false;
    }
}

/** The files of a move, once nothing can happen to their copies any more. */
void Transfer::removeCopied(Level& level)
{
    if (level.copied.empty())
        return;
    const int error = m_targets.top().sync();
    if (error != systemError::none) {
        m_log.fail(m_targetPath, FileStep::Write, error);
        level.whole = false;
        level.copied.clear();
        return;
    }
    const OpenFolder& folder = m_sources.top();
    for (const Entry& entry : level.copied) {
        EntryStatus status;
        int failed = folder.status(entry.name, status);
        if (failed == systemError::none)
            failed = isSame(entry.status, status)
                         ? removeMoved(entry, isTop() && takesComment(entry))
                         : systemError::changed;
        if (failed != systemError::none && failed != systemError::notThere) {
            m_log.fail(sourcePath(entry.name), FileStep::Remove, failed);
            level.whole = false;
        }
    }
    level.copied.clear();
}

int Transfer::removeMoved(const Entry& entry, bool withComment)
{
    OpenFolder& folder = m_sources.top();
    if (withComment) {
        const int error = EntryCopier::removeComment(folder, entry.name, commentStreamSuffix).error;
        if (error != systemError::none)
            return error;
    }
    return entry.status.type == EntryType::Folder ? folder.removeFolder(entry.name)
                                                  : folder.removeFile(entry.name);
}

} // namespace kel
