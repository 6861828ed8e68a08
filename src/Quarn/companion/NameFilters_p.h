#ifndef QUARN_COMPANION_NAMEFILTERS_P_H
#define QUARN_COMPANION_NAMEFILTERS_P_H

#include <QRegularExpression>
#include <QStringList>

#include <vector>

namespace kel {

/**
 * Wildcards that names are to fit, one of them, as QDir has them: letter case is ignored. The most
 * frequent ones, such as "*.jpg", are compared as texts; the others are prepared once, where
 * QDir::match() does it for each name.
 */
class NameFilters
{
public:
    explicit NameFilters(const QStringList& filters);

    /** Whether all are of the simple kind. */
    bool areEndings() const { return m_patterns.empty(); }

    /** Any name fits when there are no filters. */
    bool fit(const QString& name) const;

private:
    QStringList m_endings; // ASCII
    QStringList m_endingFilters; // that they are from
    std::vector<QRegularExpression> m_patterns;
};

} // namespace kel
#endif
