#include <Quarn/filejobs/MoveJob.h>

#include <Quarn/filejobs/operations_p.h>

namespace kel {

MoveJob::MoveJob(const QStringList& sources, const QString& folder, const TransferOptions& options,
                 QObject* parent)
    : FileJob([=](WorkLog& log) { moveEntries(sources, folder, options, log); }, parent)
{ }

} // namespace kel
