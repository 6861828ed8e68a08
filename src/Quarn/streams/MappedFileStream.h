#ifndef QUARN_STREAMS_MAPPEDFILESTREAM_H
#define QUARN_STREAMS_MAPPEDFILESTREAM_H

#include <Quarn/streams/RandomAccessStream.h>

#include <QString>

#include <memory>

namespace kel {
class MappedFile;

/**
 * \brief A file in memory without copying it: views of its bytes, and a read-only stream over them.
 *
 *     const kel::MappedFileStream file(path);
 *     if (const unsigned char* bytes = file.data(0, file.streamSize()))
 *         use(bytes, file.streamSize());
 *     if (file.ioFailureDetected())
 *         forgetWhatCameOfIt(file.failureText());
 *
 * The file is mapped as long as it was when it was opened; later growth isn't seen, but what others
 * write inside it is, at once. Only regular files can be mapped, and none that say nothing of their
 * size, as those of /proc.
 *
 * \par A file that is cut short, or can't be read
 * That is a failure and never a crash. Reads fail from then on. In a view the bytes that are gone become
 * zeros, so what was taken from it counts only when ioFailureDetected() is false after that. Calls of
 * the system that are given a view may fail as for a wrong address. On Linux the first mapping
 * installs a handler of SIGBUS, which passes on what doesn't concern a mapping to the handler that was
 * there before; one that a program installs later should do the same. On Windows the system refuses to
 * cut a mapped file short; there, views of files on a network can fail with the connection, so use
 * read() for those.
 *
 * | Result of read() | Meaning                                                     |
 * |------------------|-------------------------------------------------------------|
 * | > 0              | bytes copied; all that was asked for, up to the end         |
 * | 0                | the end                                                     |
 * | < 0              | not open, or failed; or the last setPosition() failed       |
 *
 * \par Threads
 * Any number of threads may use data(), views, streamSize(), isOpen() and ioFailureDetected() at
 * once; the position belongs to one at a time.
 *
 * \par Ownership
 * Views are borrowed from the stream and end with it; finishIO() leaves them.
 */
class QUARN_EXPORT MappedFileStream : public RandomAccessStream
{
public:
    /** Opens the file; isOpen() and failureText() tell the outcome. Never waits for a pipe. */
    explicit MappedFileStream(const QString& path);
    ~MappedFileStream() override;

    /** Whether the file was opened and mapped. */
    bool isOpen() const;

    /** The path and why it can't be read, in the system's words; empty while nothing has failed. */
    QString failureText() const;

    /**
     * The \a size bytes from \a position on; null where not all of them are in the file, or it has
     * failed already. Not null for no bytes of an open file.
     */
    const unsigned char* data(qint64 position, qint64 size) const;

    using RandomAccessStream::read;

    int read(void* data, int maxSize) override;
    bool readable() override;
    /** Asks the system each time. */
    bool ioFailureDetected() const override;

    qint64 position() const override;
    /** False in front of the start and behind the end; then reads fail until a call succeeds. */
    bool setPosition(qint64 position) override;
    qint64 streamSize() const override;

private:
    const std::unique_ptr<MappedFile> m_file;
    const QString m_path;
    QString m_openFailure;
    qint64 m_position;
    bool m_misplaced; // since setPosition() failed
};

} // namespace kel
#endif
