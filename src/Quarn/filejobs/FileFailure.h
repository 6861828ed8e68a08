#ifndef QUARN_FILEJOBS_FILEFAILURE_H
#define QUARN_FILEJOBS_FILEFAILURE_H

#include <Quarn/quarn_export.h>

#include <QString>

namespace kel {

/**
 * \brief One thing that could not be done to one entry.
 *
 * \par Threads
 * A value, as safe as a QString.
 */
struct QUARN_EXPORT FileFailure
{
    /** What was tried. */
    enum Operation {
        Look, ///< whether it is there, and what it is
        List, ///< the entries of a folder
        Open,
        Read,
        Create,
        Write,
        SetAttributes, ///< times, permissions, owner, comment and the like
        Rename, ///< to its place; when something is there already, for instance
        Remove,
        Trash
    };

    QString path; ///< with which it was tried
    Operation operation = Look; ///< what was tried
    int code = 0; ///< errno or GetLastError(); 0 where the system gives none
    QString text; ///< the system's words for it

    /** All of it in a line for a user, such as "Cannot read /a/b: Permission denied". */
    QString what() const;
};

} // namespace kel
#endif
