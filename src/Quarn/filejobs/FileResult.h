#ifndef QUARN_FILEJOBS_FILERESULT_H
#define QUARN_FILEJOBS_FILERESULT_H

#include <Quarn/filejobs/FileFailure.h>
#include <Quarn/quarn_export.h>

#include <QList>
#include <QMetaType>
#include <QString>

namespace kel {

/**
 * \brief What work on files and folders has come to.
 *
 * A failure at one entry doesn't end the work, so there may be many, and much may have been done
 * beside them. A full disk and a cancel end it.
 *
 * \par Threads
 * A value, as safe as a QString.
 */
struct QUARN_EXPORT FileResult
{
    /** Where one of the entries that were given is now. */
    struct Place
    {
        QString source; ///< as it was given
        QString target; ///< the copy, the new place, the place in the trash; empty: not known
    };

    qint64 entries = 0; ///< copied, moved, removed, counted or found: files, folders, links...
    qint64 bytes = 0; ///< in files, copied or counted
    bool cancelled = false; ///< by cancel(), the callback or an answer to a conflict
    QList<FileFailure> failures; ///< in the order in which they happened
    QList<Place> places; ///< of what was copied, moved or trashed, even in part: the way back

    /** Whether everything was done. */
    bool ok() const { return !cancelled && failures.isEmpty(); }

    /** The first failure in words; "Cancelled" when there is none but that; empty when ok(). */
    QString what() const;
};

} // namespace kel

Q_DECLARE_METATYPE(kel::FileResult)

#endif
