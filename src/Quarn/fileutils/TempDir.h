#ifndef QUARN_FILEUTILS_TEMPDIR_H
#define QUARN_FILEUTILS_TEMPDIR_H

#include <Quarn/quarn_export.h>

#include <QString>

namespace kel {

/**
 * \brief A new folder for the time being: it goes with the object, with everything in it.
 *
 *     kel::TempDir folder;
 *     unpack(archive, folder.path());
 *     if (wanted)
 *         show(folder.keep());
 *
 * On Linux only its owner can enter it. Links in it go themselves, what they lead to stays; so does
 * whatever the user may not delete. A process that is killed leaves the folder.
 *
 * \par Threads
 * One object belongs to one thread at a time. Constructing blocks for the file system, destroying
 * until all is deleted.
 */
class QUARN_EXPORT TempDir
{
public:
    /**
     * In QDir::temp().
     *
     * \throws FileException when no folder can be created there
     */
    TempDir();
    /** In \a parent, which must exist, for what is to be moved within its file system. */
    explicit TempDir(const QString& parent);
    /** Takes over the folder of \a other, which has none from then on. */
    TempDir(TempDir&& other) noexcept;
    /** Exchanges the folders of both. */
    TempDir& operator=(TempDir&& other) noexcept;
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /** Absolute; empty once it was removed or moved to another object. */
    QString path() const;

    /**
     * The path of \a name in the folder; nothing is created. Empty when path() is. See
     * FileUtils::safeFilePath().
     */
    QString filePath(const QString& name) const;

    /** Whether the folder goes with the object; true at first. */
    bool autoRemove() const;
    /** Chooses that. */
    void setAutoRemove(bool remove);

    /** Lets the folder stay; its path. */
    QString keep();

    /**
     * Removes it now. When that fails, the folder and what is left in it stay, and this can be tried
     * again.
     *
     * \throws FileException when something in it cannot be deleted
     */
    void remove();

private:
    QString m_path;
    bool m_autoRemove = true;
};

} // namespace kel
#endif
