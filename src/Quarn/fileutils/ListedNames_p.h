#ifndef QUARN_FILEUTILS_LISTEDNAMES_P_H
#define QUARN_FILEUTILS_LISTEDNAMES_P_H

#include <QSet>
#include <QString>

namespace kel {

/**
 * Spares a search for a free name the question whether a name is taken, which goes to the file
 * system each time. After some questions the folder is listed, which answers all that follow: a name
 * that becomes free after that still counts as taken.
 */
class ListedNames
{
public:
    /** \a folder is its path. */
    explicit ListedNames(const QString& folder) : m_folder(folder) { }

    /** True when an entry has this \a name; false also when it takes a closer look to tell. */
    bool contains(const QString& name);

private:
    const QString m_folder;
    QSet<QString> m_names;
    int m_questions = 0;
};

} // namespace kel
#endif
