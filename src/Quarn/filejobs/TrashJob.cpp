#include <Quarn/filejobs/TrashJob.h>

#include <Quarn/filejobs/operations_p.h>

namespace kel {

TrashJob::TrashJob(const QStringList& paths, QObject* parent)
    : FileJob([=](WorkLog& log) { trashEntries(paths, log); }, parent)
{ }

} // namespace kel
