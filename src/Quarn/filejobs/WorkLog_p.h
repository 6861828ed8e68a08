#ifndef QUARN_FILEJOBS_WORKLOG_P_H
#define QUARN_FILEJOBS_WORKLOG_P_H

#include <Quarn/filejobs/FileProgress.h>
#include <Quarn/filejobs/FileResult.h>
#include <Quarn/platform/EntryCopier_p.h>

#include <atomic>
#include <chrono>

namespace kel {

/**
 * \brief What has been done and has failed so far, and whether to go on.
 *
 * \par Threads
 * Belongs to the thread that works; the flag that cancels may be set from any.
 */
class WorkLog
{
public:
    /** Asks \a progress every time. */
    explicit WorkLog(const Progress& progress) : m_report(progress) { }
    /** Asks it once in \a interval, and looks at \a cancelled every time. */
    WorkLog(const Progress& progress, std::chrono::milliseconds interval,
            const std::atomic<bool>& cancelled);
    WorkLog(const WorkLog&) = delete;
    WorkLog& operator=(const WorkLog&) = delete;

    /** Whether somebody wants to know how much there is to do. */
    bool wantsTotals() const { return bool(m_report); }
    void addTotals(qint64 entries, qint64 bytes);

    /** Notes progress and asks whether to go on; pathOf() answers what is being worked on. */
    template <typename PathOf>
    bool advance(qint64 entries, qint64 bytes, PathOf pathOf)
    {
        m_progress.entriesDone += entries;
        m_progress.bytesDone += bytes;
        if (m_cancelled && *m_cancelled)
            cancel();
        if (goesOn() && isDue()) {
            m_progress.path = pathOf();
            if (!m_report(m_progress))
                cancel();
        }
        return goesOn();
    }

    void addDone(qint64 entries, qint64 bytes);
    void addPlace(const QString& source, const QString& target);
    void fail(const QString& path, FileStep step, int error);
    void fail(const QString& path, FileFailure::Operation operation, int code, const QString& text);

    void cancel() { m_result.cancelled = true; }
    /** False when the work was cancelled or a disk is full. */
    bool goesOn() const { return !m_result.cancelled && !m_diskFull; }

    const FileProgress& progress() const { return m_progress; }
    const FileResult& result() const { return m_result; }

private:
    using Clock = std::chrono::steady_clock;

    bool isDue();

    const Progress m_report;
    const std::chrono::milliseconds m_interval{0};
    const std::atomic<bool>* const m_cancelled = nullptr;
    Clock::time_point m_next = {};
    FileProgress m_progress;
    FileResult m_result;
    bool m_diskFull = false;
};

} // namespace kel
#endif
