#ifndef QUARN_STREAMS_SAFEFILE_H
#define QUARN_STREAMS_SAFEFILE_H

#include <Quarn/streams/kelmQFile.h>

#include <memory>

namespace kel {

class FileReplacement;

/**
 * \brief A file stream whose file takes its place whole when commit() is called, or never.
 *
 *     kel::SafeFile file(path);
 *     if (!file.open(QIODevice::WriteOnly) || !file.writeBlock(data, size) || !file.commit())
 *         qWarning() << file.errorString(); // the former file is as it was
 *
 * It is written beside the file at fileName(), and keeps for that what FileUtils::saveBytes() keeps;
 * what can be saved to is told there, too. Until commit() has succeeded, the former file is as it
 * was, whatever fails and whenever the process or the system ends; afterwards the new contents are
 * on the disk. An object that ends without removes what was written; a process that is killed leaves
 * it at temporaryPath().
 *
 * A write or flush that failed is not forgotten: from then on ioFailureDetected() is true, nothing
 * more is written, and commit() refuses.
 *
 * \par Threads
 * Those of kelmQFile.
 */
class QUARN_EXPORT SafeFile : public kelmQFile
{
    Q_OBJECT

public:
    /** For the file \a path, of which nothing is done before open(). */
    explicit SafeFile(const QString& path, QObject* parent = nullptr);
    ~SafeFile() override;

    /**
     * Creates the new file, which is empty. \a mode is WriteOnly or ReadWrite, with Unbuffered or
     * Text; others are refused. What an earlier one wrote without commit() goes.
     */
    bool open(OpenMode mode) override;

    /**
     * Brings what was written to the disk, which may take a while, and closes the new file; commit()
     * may follow later, in another thread, too. ioFailureDetected() tells whether that is in vain.
     */
    void close() override;

    /**
     * Closes the file and puts it in its place.
     *
     * \return whether it is there; otherwise errorString() tells what failed first, and nothing of
     *         what was written is left
     */
    [[nodiscard]] bool commit();

    /** The path that was given. */
    QString fileName() const override;

    /** Where the new file is until commit(); empty when there is none. */
    QString temporaryPath() const;

    /** Also true after a failed open(), close() or commit(). */
    bool ioFailureDetected() const override;
    void setThroughputStats(quint64, quint64, quint64, quint64) override;

protected:
    qint64 writeData(const char* data, qint64 size) override;

private:
    Q_DISABLE_COPY(SafeFile)

    // What would be done to the file at fileName().
    using kelmQFile::moveToTrash;
    using kelmQFile::remove;
    using kelmQFile::rename;
    using kelmQFile::setFileName;

    bool fail(const char* attempt, const QString& reason);

    const QString m_path;
    const std::unique_ptr<FileReplacement> m_replacement;
    bool m_complete; // closed, with everything on the disk
};

} // namespace kel
#endif
