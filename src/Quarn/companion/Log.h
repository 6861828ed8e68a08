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
 * At first warnings and errors go to Qt's logging, in the category "quarn", so that a message
 * handler of the application sees them; the lower levels have no stream. Just call write(), or:
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
 * Every call may come from any thread. Whoever holds mutex() writes alone. A message handler that
 * gets what was written so, not by write(), must not wait for a thread that logs.
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

    /** The one log of the process; it lives until the process ends. */
    static Log& instance();

    /** The lowest level that is written; Warning at first. */
    ELevel logLevel() const;
    /** For all threads, from their next line on. */
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
     * that stream; one that drops everything where the level has none. Lines for Qt's logging get no
     * prefix: its message pattern gives them one. Hold mutex(). Never throws.
     */
    std::wostream& pre(ELevel level);

    /**
     * Writes \a line at \a level, in one piece: control characters, line breaks included, come
     * out as spaces, so that a text from outside cannot pass for a second line. The stream's
     * format flags are kept. Never throws: a line that the stream, or a message handler, fails to
     * take is lost.
     */
    void write(ELevel level, const std::wstring& line);

private:
    Log();
    ~Log();

    void writeToStream(ELevel level, const std::wstring& line);

    std::array<std::atomic<std::wostream*>, 4> m_streams;
    std::atomic<ELevel> m_logLevel;
    Mutex m_mutex;
};

} // namespace kel
#endif
