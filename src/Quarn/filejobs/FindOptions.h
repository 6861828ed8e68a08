#ifndef QUARN_FILEJOBS_FINDOPTIONS_H
#define QUARN_FILEJOBS_FINDOPTIONS_H

#include <QStringList>

namespace kel {

/**
 * \brief Which files to find.
 *
 * \par Threads
 * A value, as safe as a QString.
 */
struct FindOptions
{
    QStringList nameFilters; ///< such as "*.jpg", letter case ignored; none: all files
    bool recursive = true; ///< also in the folders below
    bool hidden = false; ///< also those whose names begin with a dot, and in such folders
};

} // namespace kel
#endif
