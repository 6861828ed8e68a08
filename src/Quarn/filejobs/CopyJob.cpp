#include <Quarn/filejobs/CopyJob.h>

#include <Quarn/filejobs/operations_p.h>

namespace kel {

CopyJob::CopyJob(const QStringList& sources, const QString& folder, const TransferOptions& options,
                 QObject* parent)
    : FileJob([=](WorkLog& log) { copyEntries(sources, folder, options, log); }, parent)
{ }

} // namespace kel
