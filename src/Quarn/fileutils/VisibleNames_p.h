#ifndef QUARN_FILEUTILS_VISIBLENAMES_P_H
#define QUARN_FILEUTILS_VISIBLENAMES_P_H

#include <QString>

#include <string>
#include <vector>

namespace kel {

/**
 * The names of a folder's visible entries, listed once and sorted, so that many names can be tried
 * against a large folder: a stem without wildcards costs a binary search.
 */
class VisibleNames
{
public:
    /** \a folder is its path. */
    explicit VisibleNames(const QString& folder);

    /**
     * Whether a name begins with \a stem, in any letter case. In the stem * stands for any text and
     * each of ?, [ and ] for one character. These are the answers of QDir's name filters.
     */
    bool anyBeginsWith(const QString& stem) const;

private:
    std::vector<std::u32string> m_names; // case-folded
};

} // namespace kel
#endif
