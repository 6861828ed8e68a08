#include <Quarn/filejobs/Transfer_p.h>

#include <Quarn/filejobs/EntryPath_p.h>
#include <Quarn/module/commentStreamSuffix.h>

#include <QRandomGenerator>

#include <algorithm>
#include <utility>

namespace kel {
namespace {

constexpr std::size_t copiedAtOnce = 100; // files, before their sources are removed in a move

/** A file that isn't whole, or not in its place; it goes with the object. */
class TemporaryFile
{
public:
    TemporaryFile(OpenFolder& folder, const SystemName& name) : m_folder(folder), m_name(name) { }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile()
    {
        if (!m_kept)
            m_folder.removeFile(m_name);
    }

    const SystemName& name() const { return m_name; }
    void keep() { m_kept = true; }

private:
    OpenFolder& m_folder;
    const SystemName& m_name; // a copy might fail, and the file stay
    bool m_kept = false;
};

/** What failed at the target, and not at the source. */
bool isAtTarget(FileStep step)
{
    return step == FileStep::Create || step == FileStep::Write || step == FileStep::Attributes;
}

/** Whether nobody wrote to it. The name that a link has elsewhere may have been removed, though. */
bool isSame(const EntryStatus& left, const EntryStatus& right)
{
    return left.id == right.id && left.size == right.size && left.changed[0] == right.changed[0]
           && (left.hasOtherNames || left.changed[1] == right.changed[1]);
}

} // namespace

Transfer::Transfer(Kind kind, const TransferOptions& options, WorkLog& log)
    : m_kind(kind), m_options(options), m_log(log), m_copier(kind == Move),
      m_survey(log, Survey::Sizes),
      m_temporaryName(QStringLiteral(".quarn-%1-")
                          .arg(QRandomGenerator::system()->generate64(), 16, 16, QLatin1Char('0')))
{ }

void Transfer::run(const QStringList& sources, const QString& folder)
{
    OpenFolder target;
    const int error = folder.isEmpty() ? systemError::notThere : target.open(folder);
    if (error != systemError::none) {
        m_log.fail(folder, FileStep::Open, error);
        return;
    }
    m_aboveTarget = target.idsUpwards();
    m_targets.push(std::move(target));
    m_targetPath = folder;
    for (const QString& source : sources) {
        const EntryPath path(source);
        m_allGiven.insert(pathIn(path.folder, path.name));
    }
    std::vector<qint64> sizes(std::size_t(sources.size()), -1);
    for (int i = 0; m_kind == Copy && i < sources.size(); ++i) {
        const qint64 before = m_survey.allocated();
        survey(sources.at(i));
        sizes[std::size_t(i)] = m_survey.allocated() - before;
    }
    for (int i = 0; m_log.goesOn() && i < sources.size(); ++i)
        transferSource(sources.at(i), sizes[std::size_t(i)]);
}

void Transfer::survey(const QString& source)
{
    const qint64 entries = m_survey.entries();
    const qint64 bytes = m_survey.bytes();
    m_survey.walkEntry(source);
    m_log.addTotals(m_survey.entries() - entries, m_survey.bytes() - bytes);
}

void Transfer::transferSource(const QString& source, qint64 size)
{
    const EntryPath path(source);
    OpenFolder folder;
    int error = path.isRoot() ? systemError::notPermitted : systemError::notThere;
    if (path.isValid())
        error = folder.open(path.folder);
    if (error != systemError::none) {
        m_log.fail(source, FileStep::Look, error);
        return;
    }
    m_given = source;
    m_size = size;
    m_sourcePath = path.folder;
    m_sources.push(std::move(folder));
    Level first;
    first.entries.push_back(systemName(path.name));
    first.triesToRename = m_kind == Move;
    m_levels.push_back(std::move(first));
    runLevels();
}

void Transfer::runLevels()
{
    while (!m_levels.empty()) {
        if (m_log.goesOn() && level().next < level().entries.size())
            transferEntry(level().entries[level().next++]);
        else
            leaveFolder(); // after a cancel, too: what there is of it is to be as it should
    }
}

void Transfer::transferEntry(const SystemName& name)
{
    Entry entry{name, name, EntryStatus()};
    if (isTop() && !m_options.newName.isEmpty())
        entry.wantedName = systemName(m_options.newName);
    const int error = m_sources.top().status(name, entry.status);
    if (error != systemError::none) {
        failSource(name, FileStep::Look, error);
        return;
    }
    std::optional<Destination> destination = destinationOf(entry);
    if (!destination)
        return;
    if (level().triesToRename && destination->how != Destination::Merging
        && rename(entry, *destination))
        return;
    if (isTop() && !hasRoom(entry, *destination))
        return;
    if (entry.status.type == EntryType::Folder)
        transferFolder(entry, std::move(*destination));
    else
        transferFile(entry, std::move(*destination));
}

/** Answers false when the contents have to be moved instead, and that may be tried. */
bool Transfer::rename(const Entry& entry, Destination& destination)
{
    for (;;) {
        const int error = m_sources.top().rename(entry.name, m_targets.top(), destination.name,
                                                 destination.how == Destination::Replacing);
        if (error == systemError::none) {
            if (isTop() && takesComment(entry))
                settleComment(destination,
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

/** Looks whether all of a source fits, unless it joins what is there: nobody knows by how much. */
bool Transfer::hasRoom(const Entry& entry, const Destination& destination)
{
    if (m_size < 0) {
        const qint64 before = m_survey.allocated();
        survey(m_given);
        m_size = m_survey.allocated() - before;
    }
    if (destination.how == Destination::New
        && m_targets.top().roomForCopies(m_sources.top(), entry.name) < m_size)
        failTarget(entry.wantedName, FileStep::Write, systemError::noRoom);
    return m_log.goesOn();
}

void Transfer::transferFile(const Entry& entry, Destination destination)
{
    const SystemName temporary = nextTemporaryName();
    if (!makeFile(entry, temporary, destination.name))
        return;
    TemporaryFile file(m_targets.top(), temporary);
    if (!publish(entry, temporary, destination))
        return;
    file.keep();
    if (entry.status.hasOtherNames)
        m_linked.add(entry.status.id, m_targets.top(), placeOf(destination.name));
    const bool isComplete = keepComment(entry, destination);
    finished(entry, destination);
    if (m_kind == Copy || !isComplete)
        return;
    level().copied.push_back(entry);
    if (level().copied.size() >= copiedAtOnce)
        removeCopied(level());
}

/** \a name is the one that it will get. */
bool Transfer::makeFile(const Entry& entry, const SystemName& temporary, const SystemName& name)
{
    // Of the last name it doesn't show any more, when the others have been moved.
    if (entry.status.type == EntryType::File
        && m_linked.link(entry.status.id, m_targets.bottom(), m_targets.top(), temporary))
        return true;
    qint64 told = 0;
    const EntryCopier::Outcome outcome = m_copier.copy(
        m_sources.top(), entry.name, entry.status, m_targets.top(), temporary, [&](qint64 bytes) {
            told += bytes;
            return m_log.advance(0, bytes, [&] { return sourcePath(entry.name); });
        });
    if (outcome.ok()) {
        m_log.addDone(0, told);
        return true;
    }
    if (outcome.cancelled)
        level().whole = false;
    else if (isAtTarget(outcome.step))
        failTarget(name, outcome.step, outcome.error);
    else
        failSource(entry.name, outcome.step, outcome.error);
    return false;
}

bool Transfer::publish(const Entry& entry, const SystemName& temporary, Destination& destination)
{
    OpenFolder& folder = m_targets.top();
    for (;;) {
        const int error = folder.rename(temporary, folder, destination.name,
                                        destination.how == Destination::Replacing);
        if (error == systemError::none)
            return true;
        if (error != systemError::alreadyThere) {
            failTarget(destination.name, FileStep::Rename, error);
            return false;
        }
        const std::optional<Destination> another = resolve(entry);
        if (!another)
            return false;
        destination = *another;
    }
}

/** Where comments are kept in files of their own, these may be on their way by themselves. */
bool Transfer::takesComment(const Entry& entry) const
{
    if (entry.status.type != EntryType::File)
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
    return settleComment(destination,
                         m_copier.copyComment(m_sources.top(), entry.name, m_targets.top(),
                                              destination.name, commentStreamSuffix));
}

bool Transfer::settleComment(const Destination& destination, const EntryCopier::Outcome& outcome)
{
    if (outcome.ok())
        return true;
    m_log.fail(targetPath(destination.name), outcome.step, outcome.error);
    level().whole = false;
    return false;
}

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
        if (error == systemError::none && m_kind == Move)
            error = m_targets.top().sync();
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
    if (left.isNew) {
        const EntryCopier::Outcome outcome
            = m_copier.copyAttributes(m_sources.top(), m_targets.top(), left.status);
        if (!outcome.ok())
            m_log.fail(m_targetPath, outcome.step, outcome.error);
    }
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
    if (!left.whole || left.next < left.entries.size()) {
        level().whole = false;
    } else if (m_kind == Move) {
        const int error = m_sources.top().removeFolder(left.sourceName);
        if (error != systemError::none && error != systemError::notThere)
            failSource(left.sourceName, FileStep::Remove, error);
    }
    if (left.isNew)
        m_log.addDone(1, 0);
    m_log.advance(1, 0, [&] { return sourcePath(left.sourceName); });
}

/** Nobody knows any more where the folders above are. */
void Transfer::abandonSource()
{
    m_targetPath.truncate(m_levels.size() > 1 ? m_levels[1].targetPathSize : m_targetPath.size());
    m_levels.clear();
    m_sources.clear();
    m_targets.shrinkToBottom();
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
            failed = isSame(entry.status, status) ? removeMoved(entry) : systemError::changed;
        if (failed != systemError::none && failed != systemError::notThere) {
            m_log.fail(sourcePath(entry.name), FileStep::Remove, failed);
            level.whole = false;
        }
    }
    level.copied.clear();
}

int Transfer::removeMoved(const Entry& entry)
{
    OpenFolder& folder = m_sources.top();
    int error = systemError::none;
    if (isTop() && takesComment(entry))
        error = EntryCopier::removeComment(folder, entry.name, commentStreamSuffix).error;
    return error == systemError::none ? folder.removeFile(entry.name) : error;
}

LinkedCopies::Place Transfer::placeOf(const SystemName& name) const
{
    LinkedCopies::Place place;
    for (std::size_t i = 1; i < m_levels.size(); ++i)
        place.push_back(m_levels[i].targetName);
    place.push_back(name);
    return place;
}

SystemName Transfer::nextTemporaryName()
{
    return systemName(m_temporaryName + QString::number(++m_temporaryNames));
}

QString Transfer::sourcePath(const SystemName& name) const
{
    return pathIn(m_sourcePath, displayName(name));
}

QString Transfer::targetPath(const SystemName& name) const
{
    return pathIn(m_targetPath, displayName(name));
}

void Transfer::failSource(const SystemName& name, FileStep step, int error)
{
    m_log.fail(sourcePath(name), step, error);
    level().whole = false;
    m_log.advance(1, 0, [&] { return sourcePath(name); });
}

void Transfer::failTarget(const SystemName& name, FileStep step, int error)
{
    m_log.fail(targetPath(name), step, error);
    level().whole = false;
    m_log.advance(1, 0, [&] { return targetPath(name); });
}

/** A file that was copied, or whatever was renamed. */
void Transfer::finished(const Entry& entry, const Destination& destination)
{
    if (isTop())
        m_log.addPlace(m_given, targetPath(destination.name));
    m_log.addDone(1, 0);
    m_log.advance(1, 0, [&] { return sourcePath(entry.name); });
}

} // namespace kel
