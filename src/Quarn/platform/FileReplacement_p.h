#ifndef QUARN_PLATFORM_FILEREPLACEMENT_P_H
#define QUARN_PLATFORM_FILEREPLACEMENT_P_H

#include <QFile>
#include <QString>

#include <memory>

namespace kel {

/**
 * \brief A new file that takes the place of another one at once, or goes.
 *
 * It lies in the folder of its target, which is what the path leads to: links are followed, also one
 * that leads to nothing yet. Whatever fails, and whenever the process ends, the target is as it was
 * until replace() has renamed the new file, and whole and on the disk from then on.
 *
 * The new file gets what the system keeps with a file beside its contents, as far as it is allowed
 * to: on Linux permissions, access list, extended attributes, group and owner, on Windows the named
 * streams, the access list and the attributes. Where attributes would be lost or more users let in,
 * it fails instead. Other names of the target, by hard links, keep the former contents.
 *
 * Nothing but a regular file that may be written is replaced, and only where the folder may be
 * written too.
 *
 * \par Threads
 * One at a time.
 */
class FileReplacement
{
public:
    /** What went wrong at first. */
    struct Failure
    {
        QFileDevice::FileError error = QFileDevice::NoError;
        QString attempt; ///< that failed
        QString reason; ///< mostly the system's

        QString message() const;
    };

    FileReplacement();
    /** The new file goes unless it has taken its place. */
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /** Creates the new file for the one at \a target and opens \a file on it in \a mode. */
    bool create(const QString& target, QFile& file, QIODevice::OpenMode mode);

    /** Gives the new file, which \a file is open on, the other's attributes, and the disk its bytes. */
    bool complete(QFile& file);

    /** Puts the new file, which is complete and closed, in its place. */
    bool replace();

    /** Removes the new file, which is closed. */
    void discard();

    /** Where the new file is; empty when there is none, or none any more. */
    QString path() const;

    /** Records a failure, unless there was one before; answers false. */
    bool fail(QFileDevice::FileError error, const char* attempt, const QString& reason);

    const Failure& failure() const { return m_failure; }

    /** All of it: makes \a contents those of the file at \a target. */
    static Failure replaceContents(const QString& target, const QByteArray& contents);

private:
    struct Place;

    bool failBySystem(QFileDevice::FileError error, const char* attempt);
    bool find(const QString& target);
    bool open(QFile& file, QIODevice::OpenMode mode);
    bool takeAttributes(int file);
    bool synchronize(int file);
    bool rename();
    void remove();

    std::shared_ptr<Place> m_place; // while there may be a new file
    Failure m_failure;
};

} // namespace kel
#endif
