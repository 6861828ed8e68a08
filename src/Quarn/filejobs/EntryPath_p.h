#ifndef QUARN_FILEJOBS_ENTRYPATH_P_H
#define QUARN_FILEJOBS_ENTRYPATH_P_H

#include <QString>

namespace kel {

/** The path of an entry taken apart: the folder that it is in, and its name there. */
struct EntryPath
{
    /** \a path is made absolute and clean. */
    explicit EntryPath(const QString& path);

    /** One that names nothing in a folder: an empty path, or a root. */
    bool isValid() const { return !name.isEmpty(); }
    bool isRoot() const { return !folder.isEmpty() && name.isEmpty(); }

    QString folder; // absolute
    QString name;
};

/** The path of \a name in the folder at \a path. */
QString pathIn(const QString& path, const QString& name);

} // namespace kel
#endif
