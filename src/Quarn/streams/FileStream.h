#ifndef QUARN_STREAMS_FILESTREAM_H
#define QUARN_STREAMS_FILESTREAM_H

#include <Quarn/streams/kelmQFile.h>

#include <QElapsedTimer>

#include <memory>
#include <mutex>

namespace kel {
class FileWatch;

/**
 * \brief A file as a stream that one can just use, and follow while another program writes it.
 *
 *     kel::FileStream log(path, QIODevice::ReadOnly);
 *     if (!log.isOpen())
 *         return log.failureText();
 *     log.follow(); // from now on reads wait for growth
 *     while (!(line = log.readLine()).isEmpty())
 *         show(line);
 *
 * Everything else is as in kelmQFile.
 *
 * \par Following
 * A read at the end waits until the file grows; what is there is delivered first, whatever happened
 * meanwhile. The open file is followed, whatever its name: one that is renamed, as by log rotation,
 * goes on. A wait processes no events and ends in these cases, see followEnd():
 *
 * | FollowEnd | What happened                                           | read() | ioFailureDetected() |
 * |-----------|---------------------------------------------------------|--------|---------------------|
 * | Quiet     | no growth for the time that was given                   | 0      | false               |
 * | Cancelled | cancel() was called                                     | 0      | false               |
 * | Removed   | the file has no name any more, or was replaced          | 0      | false               |
 * | CutShort  | the file is shorter than what was read of it            | -1     | true                |
 * | Lost      | the system doesn't tell of the file any more            | -1     | true                |
 *
 * A file that was cut short, as by a log that is copied and emptied, can be read anew after
 * setPosition(). One that is cut and written on beyond the position before anybody looks isn't
 * noticed. Changes that the system doesn't report, as those made on another computer, are found
 * within a second.
 *
 * \par Throughput
 * getThroughputStats() gives four figures: bytes that came from the file, bytes that were handed to
 * it, and the nanoseconds that reading and writing took. Bytes that are read ahead count when they are;
 * what is written counts when it is taken, also into the buffer of QFile. Waits for growth don't take
 * any time. StreamUtils::copyFast() counts in both files.
 *
 * \par Threads
 * Those of kelmQFile, and cancel() and cancelled() may be called from any thread.
 */
class QUARN_EXPORT FileStream : public kelmQFile
{
    Q_OBJECT

public:
    /** Why a followed file delivers nothing more. */
    enum class FollowEnd { None, Quiet, Cancelled, Removed, CutShort, Lost };

    /** Not open yet. */
    explicit FileStream(const QString& path, QObject* parent = nullptr);
    /** Opens the file; isOpen() and failureText() tell the outcome. Waits for a pipe's other end. */
    FileStream(const QString& path, OpenMode mode, QObject* parent = nullptr);
    ~FileStream() override;

    using kelmQFile::open;
    /** As kelmQFile::open(); a path with a zero character, which would name another file, is refused. */
    bool open(OpenMode mode) override;
    /** Also ends following; the figures stay. */
    void close() override;

    /** The path and what went wrong, in the system's words; empty while nothing has failed. */
    QString failureText() const;

    /**
     * Follows the open file from now on, and switches to blocking mode, without which reads don't
     * wait. After \a quietMsecs without growth, counted from the first read that found nothing, the
     * file is at its end; with a negative figure never. False for a file that isn't open for reading
     * or is no regular file.
     */
    bool follow(int quietMsecs = -1);

    /** Why no growth is waited for any more; None while it is, or bytes are left, or not following. */
    FollowEnd followEnd() const;

    /** Ends the wait that runs and all later ones; what is there is still delivered. For good. */
    void cancel();
    /** Whether cancel() was called. */
    bool cancelled() const;

    /** For a followed file whether nothing more is expected. */
    bool atEnd() const override;
    /** For a followed file: waits for growth, but no longer than a second, also when negative. */
    bool waitForReadyRead(int msecs) override;

    /** Replaces the figures, for example by zeros. */
    void setThroughputStats(quint64 bytesRead, quint64 bytesWritten, quint64 readNsecs,
                            quint64 writeNsecs) override;
    /** True. */
    bool getThroughputStats(quint64& bytesRead, quint64& bytesWritten, quint64& readNsecs,
                            quint64& writeNsecs) const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    Q_DISABLE_COPY(FileStream)

    FollowEnd reasonToEnd() const;
    bool hasGrown() const;

    mutable std::mutex m_mutex; // guards changes of m_watch, and m_cancelled
    std::unique_ptr<FileWatch> m_watch; // not null while the file is followed
    bool m_cancelled;
    qint64 m_quietMsecs;
    QElapsedTimer m_quiet; // since the first wait at m_quietPosition
    qint64 m_quietPosition;
    bool m_waitedEnough; // at m_quietPosition
    qint64 m_waitedNsecs; // in the read that runs

    struct Figures
    {
        quint64 bytes = 0;
        quint64 nsecs = 0;
    };
    Figures m_read;
    Figures m_written;
};

} // namespace kel
#endif
