#ifndef QUARN_PLATFORM_SYSTEMFILE_P_H
#define QUARN_PLATFORM_SYSTEMFILE_P_H

#include <QFileDevice>
#include <QString>

#include <memory>

namespace kel {

/**
 * \brief A file of the system, read and written past every buffer of the process.
 *
 * What is no regular file may have to be waited for: a pipe for somebody at its other end, for bytes,
 * or for room. Only such a wait can be given up; what the system doesn't return from can't. Writing
 * to a pipe that nobody reads any more is a failure and no signal.
 *
 * \par Threads
 * Calls may come from any thread, one at a time.
 */
class SystemFile
{
public:
    struct Outcome
    {
        qint64 count = 0; // bytes transferred, even so many before a failure; the new position
        QFileDevice::FileError error = QFileDevice::NoError;
        QString errorString; // of the system

        bool ok() const { return error == QFileDevice::NoError; }
    };

    /** Says from time to time whether to go on with a wait. */
    class Wait
    {
    public:
        virtual ~Wait() = default;
        virtual bool goesOn() = 0;

    protected:
        Wait() = default;
        Wait(const Wait&) = default;
        Wait& operator=(const Wait&) = default;
    };

    SystemFile();
    SystemFile(const SystemFile&) = delete;
    SystemFile& operator=(const SystemFile&) = delete;
    ~SystemFile();

    bool isOpen() const;

    /** Whether two writes are the same to whoever reads the file as one of both their bytes. */
    bool joinsWrites() const;

    /**
     * Modes are those of QFile, but QIODevice::Text. A pipe is opened for reading at once, whether or
     * not somebody writes it; for writing when somebody reads it.
     */
    Outcome open(const QString& path, QIODevice::OpenMode mode, Wait& wait);

    /** Fewer bytes than asked only at the end, after a failure and when the wait is given up. */
    Outcome read(char* target, qint64 size, Wait& wait);

    /** Fewer bytes than \a size only after a failure and when the wait is given up. */
    Outcome write(const char* data, qint64 size, Wait& wait);

    Outcome seek(qint64 position);

    /** What has been written survives a power failure, and so does the name of a new file. */
    Outcome flush();

    /** The file is closed even when that reports a failure of earlier writes. */
    Outcome close();

    /** Bytes from the position to the end, as far as that is known; otherwise 0. */
    qint64 remaining() const;

private:
    struct Handle;
    std::unique_ptr<Handle> m_handle;
};

} // namespace kel
#endif
