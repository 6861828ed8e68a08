#ifndef QUARN_PLATFORM_TRASH_P_H
#define QUARN_PLATFORM_TRASH_P_H

#include <QDateTime>
#include <QList>
#include <QString>

namespace kel {

struct TrashOutcome
{
    int error = 0; ///< of the system
    QString path; ///< where it is now; empty where the system doesn't tell

    explicit operator bool() const { return error == 0; }
};

/**
 * Moves the file, folder or link at \a path, which is absolute and clean, to the user's trash. A
 * link is moved itself, wherever it leads.
 *
 * Windows asks the shell, which may show its dialogs, also to ask whether something that the
 * recycle bin cannot take is to be deleted.
 *
 * Linux follows the Trash specification of freedesktop.org, version 1.0: the trash in the home for
 * what lies on the same file system, which is made when it is missing, else the one at the top of
 * the file system that holds the item. Nothing is ever copied to another file system or deleted;
 * any number of threads and processes may trash items of the same name at once. The trash in the
 * home is that of specialFolder(). No folder that was made for a move that failed is left.
 *
 * \return without an error when it was moved; otherwise it is where it was
 */
TrashOutcome moveToTrash(const QString& path);

/** Something in a trash; what is not known is empty. */
struct TrashEntry
{
    QString path; ///< where it is now
    QString originalPath;
    QDateTime deletionDate;
};

struct TrashFailure
{
    QString path; ///< in the trash
    int error; ///< of the system
};

/**
 * Appends to \a entries what is in the trash of the home and in the user's at the tops of mounted
 * file systems; of these, what cannot be listed is left out. Windows cannot do it.
 *
 * \return 0, or the system's error number
 */
int listTrash(QList<TrashEntry>& entries);

/**
 * Moves what is at \a path in a trash to \a target, absolute and clean as well. Folders that are
 * missing there are made, and go again when it fails. Nothing is ever replaced, nor copied to another
 * file system. Windows cannot do it.
 *
 * \return 0, or the system's error number: EEXIST when something is there
 */
int restoreFromTrash(const QString& path, const QString& target);

/**
 * Deletes for good what listTrash() lists and, on Linux, what it notes of items that are gone; on
 * Windows all that the shell has in recycle bins, without asking.
 *
 * \return what could not be deleted, which stays listed
 */
QList<TrashFailure> emptyTrash();

} // namespace kel
#endif
