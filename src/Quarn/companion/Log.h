#ifndef QUARN_COMPANION_LOG_H
#define QUARN_COMPANION_LOG_H

#include <Quarn/companion/Mutex.h>
#include <Quarn/quarn_export.h>

#include <array>
#include <atomic>
#include <iosfwd>
#include <string>

namespace kel {

/**
 * \brief The process-wide logger: a stream for each level, a threshold, and a lock for writers.
 *
 * At first warnings and what is above them go to standard error in the locale's encoding; the
 * lower levels have no stream. A writer proceeds as write() does:
 *
 *     Log& log = Log::instance();
 *     std::wostream* stream = log.getStream(Log::Warning);
 *     if (!stream || log.logLevel() > Log::Warning)
 *         return;
 *     MutexLocker locker(log.mutex(), true);
 *     log.pre(Log::Warning);
 *     *stream << "disk is filling up" << std::endl;
 *
 * \par Threads
 * Every call may come from any thread. Whoever holds mutex() writes alone.
 */
class QUARN_EXPORT Log
{
public:
    /** From the least to the most important. */
    enum ELevel {
        Debug = 0,
        Information = 1,
        Warning = 2,
        Error = 3,
        Off = 4, ///< as a threshold only: nothing is written
    };

    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    static Log& instance();

    /** The lowest level that is written; Warning at first. */
    ELevel logLevel() const;
    void setLogLevel(ELevel level);

    /** The stream of \a level, null when the level has no output. */
    std::wostream* getStream(ELevel level) const;

    /**
     * Sends \a level to \a stream, to nowhere with null. The stream is borrowed. Waits for a
     * writer in progress; write() never uses the former stream after that.
     */
    void setStream(ELevel level, std::wostream* stream);

    /** Serialises writers, from the prefix to the end of the line. Recursive. */
    Mutex& mutex();

    /**
     * Writes the prefix of a line, local time and level, to the stream of \a level and returns
     * that stream; one that drops everything where the level has none. Hold mutex().
     */
    std::wostream& pre(ELevel level);

    /**
     * Writes \a line at \a level, in one piece: control characters, line breaks included, come
     * out as spaces, so that a text from outside cannot pass for a second line. The stream's
     * format flags are kept.
     */
    void write(ELevel level, const std::wstring& line);

private:
    Log();
    ~Log();

    std::array<std::atomic<std::wostream*>, 4> m_streams;
    std::atomic<ELevel> m_logLevel;
    Mutex m_mutex;
};

} // namespace kel
#endif
