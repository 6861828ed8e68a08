#include <Quarn/filejobs/Transfer_p.h>

#include <Quarn/filejobs/EntryPath_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QRandomGenerator>

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
    if (sources.size() == 1 && !m_options.newName.isEmpty() && !takeNewName())
        return;
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

/** Answers false when that leads anywhere but into the target folder. */
bool Transfer::takeNewName()
{
    const QString path = pathIn(m_targetPath, m_options.newName);
    m_newName = systemName(m_options.newName);
    const bool isName
        = hasSystemForm(m_options.newName) && EntryPath(path).name == m_options.newName;
    if (!isName)
        m_log.fail(path, FileStep::Create, systemError::notPermitted);
    return isName;
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
    m_conflicts = 0;
    Entry entry{name, name, EntryStatus()};
    if (isTop() && !m_newName.empty())
        entry.wantedName = m_newName;
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
    // A rename to another name of the same file does nothing: then both are there.
    if (!entry.status.hasOtherNames)
        file.keep();
    else
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
        && m_linked.link(entry.status.id, m_targets.bottom(), m_targets.top(), temporary)) {
        m_copier.setCopiedLast(entry.status.id);
        return true;
    }
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
