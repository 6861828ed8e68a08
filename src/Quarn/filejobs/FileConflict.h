#ifndef QUARN_FILEJOBS_FILECONFLICT_H
#define QUARN_FILEJOBS_FILECONFLICT_H

#include <QString>

namespace kel {

/** \brief What to do about something that is in the place of a copy or a moved entry already. */
enum class ConflictPolicy {
    Fail, ///< it stays, and that is a failure
    Skip, ///< it stays, and that is fine; a folder gets what it lacks of the other
    Overwrite, ///< a file, link or pipe is replaced, in one step; folders become one
    UniqueName, ///< it stays, and the new one is called "name (2).txt" or so
    Cancel ///< it stays, and all the work ends here
};

/**
 * \brief Something that is in the way.
 *
 * \par Threads
 * A value, as safe as a QString.
 */
struct FileConflict
{
    QString source; ///< what was to get there
    QString target; ///< what is there already
    bool sourceIsFolder = false; ///< no link to one
    bool targetIsFolder = false; ///< no link to one
};

} // namespace kel
#endif
