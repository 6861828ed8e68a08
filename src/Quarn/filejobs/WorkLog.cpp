#include <Quarn/filejobs/WorkLog_p.h>

#include <QtGlobal>

#include <algorithm>

namespace kel {
namespace {

FileFailure::Operation operationOf(FileStep step)
{
    switch (step) {
    case FileStep::Look:
        return FileFailure::Look;
    case FileStep::List:
        return FileFailure::List;
    case FileStep::Open:
        return FileFailure::Open;
    case FileStep::Read:
        return FileFailure::Read;
    case FileStep::Create:
        return FileFailure::Create;
    case FileStep::Write:
        return FileFailure::Write;
    case FileStep::Attributes:
        return FileFailure::SetAttributes;
    case FileStep::Rename:
        return FileFailure::Rename;
    case FileStep::Remove:
        break;
    }
    return FileFailure::Remove;
}

} // namespace

WorkLog::WorkLog(const Progress& progress, std::chrono::milliseconds interval,
                 const std::atomic<bool>& cancelled)
    : m_report(progress), m_interval(interval), m_cancelled(&cancelled),
      m_next(Clock::now() + interval)
{ }

void WorkLog::addTotals(qint64 entries, qint64 bytes)
{
    m_progress.entriesTotal = std::max<qint64>(0, m_progress.entriesTotal) + entries;
    m_progress.bytesTotal = std::max<qint64>(0, m_progress.bytesTotal) + bytes;
}

void WorkLog::addDone(qint64 entries, qint64 bytes)
{
    m_result.entries += entries;
    m_result.bytes += bytes;
}

void WorkLog::addPlace(const QString& source, const QString& target)
{
    m_result.places.append({source, target});
}

void WorkLog::fail(const QString& path, FileStep step, int error)
{
    fail(path, operationOf(step), error, qt_error_string(error));
    // An attribute that is too large for its file is no full disk.
    if (systemError::isNoRoom(error) && step != FileStep::Attributes)
        m_diskFull = true;
}

void WorkLog::fail(const QString& path, FileFailure::Operation operation, int code,
                   const QString& text)
{
    m_result.failures.append({path, operation, code, text});
}

bool WorkLog::isDue()
{
    if (!m_report)
        return false;
    if (m_interval.count() == 0)
        return true;
    const Clock::time_point now = Clock::now();
    if (now < m_next)
        return false;
    m_next = now + m_interval;
    return true;
}

} // namespace kel
