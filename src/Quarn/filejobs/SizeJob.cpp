#include <Quarn/filejobs/SizeJob.h>

#include <Quarn/filejobs/operations_p.h>

namespace kel {

SizeJob::SizeJob(const QStringList& paths, QObject* parent)
    : FileJob([=](WorkLog& log) { measureEntries(paths, log); }, parent)
{ }

} // namespace kel
