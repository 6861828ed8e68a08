#ifndef QUARN_FILEUTILS_NAMES_NAMEENDINGS_P_H
#define QUARN_FILEUTILS_NAMES_NAMEENDINGS_P_H

#include <QStringList>

#include <optional>

namespace kel {

/**
 * Name filters of the simplest and most frequent kind, "*.jpg": QDir makes a regular expression of
 * each for each folder and tries it on each name; here the ends of texts are compared. That saves
 * findFiles() a seventh of its time in folders of 100 files and a twentieth in those of 1,000.
 */
class NameEndings
{
public:
    /** Nothing when one of \a filters is of another kind. */
    static std::optional<NameEndings> from(const QStringList& filters);

    /** Whether one of the filters fits \a name; any name when there are none. As QDir answers. */
    bool fit(const QString& name) const;

private:
    QStringList m_filters;
    QStringList m_endings; // ASCII
};

} // namespace kel
#endif
