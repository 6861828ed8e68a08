#ifndef QUARN_PLATFORM_TRASH_P_H
#define QUARN_PLATFORM_TRASH_P_H

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

} // namespace kel
#endif
