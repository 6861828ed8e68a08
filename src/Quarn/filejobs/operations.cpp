#include <Quarn/filejobs/operations_p.h>

#include <Quarn/filejobs/EntryPath_p.h>
#include <Quarn/filejobs/Removal_p.h>
#include <Quarn/filejobs/Search_p.h>
#include <Quarn/filejobs/Survey_p.h>
#include <Quarn/filejobs/Transfer_p.h>
#include <Quarn/platform/Trash_p.h>

namespace kel {
namespace {

void trashEntry(const QString& given, WorkLog& log)
{
    const EntryPath entry(given);
    const QString path = entry.isValid() ? pathIn(entry.folder, entry.name) : entry.folder;
    const TrashOutcome outcome = moveToTrash(path);
    if (outcome) {
        log.addDone(1, 0);
        log.addPlace(given, outcome.path);
    } else {
        log.fail(given, FileFailure::Trash, outcome.error, qt_error_string(outcome.error));
    }
    log.advance(1, 0, [&] { return path; });
}

} // namespace

void copyEntries(const QStringList& sources, const QString& folder, const TransferOptions& options,
                 WorkLog& log)
{
    Transfer(Transfer::Copy, options, log).run(sources, folder);
}

void moveEntries(const QStringList& sources, const QString& folder, const TransferOptions& options,
                 WorkLog& log)
{
    Transfer(Transfer::Move, options, log).run(sources, folder);
}

void removeEntries(const QStringList& paths, WorkLog& log)
{
    if (log.wantsTotals()) {
        Survey survey(log, Survey::Entries);
        for (const QString& path : paths)
            survey.walkEntry(path);
        log.addTotals(survey.entries(), 0);
    }
    Removal removal(log);
    for (const QString& path : paths)
        removal.walkEntry(path);
}

void trashEntries(const QStringList& paths, WorkLog& log)
{
    log.addTotals(paths.size(), 0);
    for (const QString& path : paths) {
        if (log.advance(0, 0, [&] { return path; }))
            trashEntry(path, log);
    }
}

void measureEntries(const QStringList& paths, WorkLog& log)
{
    Survey survey(log, Survey::Result);
    for (const QString& path : paths)
        survey.walkEntry(path);
}

void findEntries(const QString& folder, const FindOptions& options,
                 const std::function<void(const QString&)>& found, WorkLog& log)
{
    Search(log, options, found).walkFolder(folder);
}

} // namespace kel
