#ifndef QUARN_PLATFORM_LINUX_NEWFILE_P_H
#define QUARN_PLATFORM_LINUX_NEWFILE_P_H

#include <QByteArray>

#include <sys/stat.h>

namespace kel {

// For new files that take the place of others, or are their copies.

/** A name that nobody else has, short whatever file it is for. */
QByteArray newName(const char* prefix);

/**
 * Gives the open \a file the owner of \a other and those of \a permissions that it has, or fewer
 * where the caller may not do that: another group isn't let in.
 *
 * \return whether the permissions could be set
 */
bool shareAs(const struct stat& other, int file, mode_t permissions);

/**
 * Takes the access lists away that the folder has given to the open \a file, or folder, as to all
 * that is made in it: they may let others in. Whether there are none.
 */
bool removeInheritedAccess(int file, bool isFolder);

} // namespace kel
#endif
