#include <Quarn/filejobs/FindJob.h>

#include <Quarn/filejobs/operations_p.h>

namespace kel {

FindJob::FindJob(const QString& folder, const FindOptions& options, QObject* parent)
    : FindJob(folder, options, std::make_shared<QStringList>(), parent)
{ }

FindJob::FindJob(const QString& folder, const FindOptions& options,
                 std::function<void(const QString& path)> found, QObject* parent)
    : FileJob([=](WorkLog& log) { findEntries(folder, options, found, log); }, parent)
{ }

FindJob::FindJob(const QString& folder, const FindOptions& options,
                 const std::shared_ptr<QStringList>& matches, QObject* parent)
    : FileJob(
        [=](WorkLog& log) {
            findEntries(
                folder, options, [&](const QString& path) { matches->append(path); }, log);
        },
        parent),
      m_matches(matches)
{ }

FindJob::~FindJob() = default;

QStringList FindJob::matches() const
{
    return m_matches && isFinished() ? *m_matches : QStringList();
}

} // namespace kel
