#include <Quarn/filejobs/RemoveJob.h>

#include <Quarn/filejobs/operations_p.h>

namespace kel {

RemoveJob::RemoveJob(const QStringList& paths, QObject* parent)
    : FileJob([=](WorkLog& log) { removeEntries(paths, log); }, parent)
{ }

} // namespace kel
