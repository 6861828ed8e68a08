#ifndef QUARN_FILEUTILS_NAMES_TAKENNAMES_P_H
#define QUARN_FILEUTILS_NAMES_TAKENNAMES_P_H

#include <QDir>
#include <QHash>
#include <QString>

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace kel {

/**
 * Which names are taken in a folder, for a search that asks about many: the question of
 * FileUtils::exists(). The folder is listed at most once, so that a question costs no system call
 * any more; a name that becomes free after that still counts as taken.
 */
class TakenNames
{
public:
    TakenNames(const QDir& dir, bool exact) : m_dir(dir), m_exact(exact) { }

    /** Whether \a name is taken; what is not exact lists the folder with the first question. */
    bool contains(const QString& name);

    /** Names of which this is the same are taken by the same entries. */
    QString decisivePart(const QString& name) const;

private:
    QString stemOf(const QString& name) const;
    bool hasEntry(const QString& name);
    bool hasBeginning(const QString& stem);

    const QDir m_dir;
    const bool m_exact;
    int m_entryQuestions = 0;
    std::unordered_set<QString> m_entries; // empty until enough was asked
    std::optional<std::vector<std::u32string>> m_foldedNames; // sorted
};

} // namespace kel
#endif
