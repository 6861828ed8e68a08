#include <Quarn/fileutils/names/TakenNames_p.h>

#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/platform/FolderListing_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QDirIterator>

#include <algorithm>
#include <string_view>

namespace kel {
namespace {

constexpr int questionsBeforeListing = 32; // the folder may be a large one

QStringList namesIn(const QString& folder)
{
    if (!hasSystemForm(folder))
        return QStringList();
    if (std::optional<QStringList> names = visibleNames(folder))
        return *std::move(names);
    // Not QDir::entryList(), which may answer from what a caller's QDir has listed before.
    QStringList names;
    QDirIterator entries(folder, QDir::AllEntries | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        entries.next();
        names.append(entries.fileName());
    }
    return names;
}

bool isAnyCharacter(char32_t character)
{
    return character == U'?' || character == U'[' || character == U']';
}

char32_t caseFolded(char32_t character)
{
    if (character >= 0x80)
        return QChar::toCaseFolded(character);
    return character >= U'A' && character <= U'Z' ? character + (U'a' - U'A') : character;
}

/** One by one, so that ? keeps its meaning: QString::toCaseFolded() makes "ss" of a sharp s. */
std::u32string caseFolded(const QString& text)
{
    std::u32string folded = text.toStdU32String();
    for (char32_t& character : folded)
        character = caseFolded(character);
    return folded;
}

/** Both case-folded, the \a stem with its wildcards. The answers are those of QDir's filters. */
bool beginsWith(const std::u32string& name, const std::u32string& stem)
{
    std::size_t at = 0;
    std::size_t wanted = 0;
    std::size_t afterStar = 0; // behind the last * of the stem that was passed, 0 before any
    std::size_t matchedFrom = 0; // where in the name that was looked for last
    while (wanted < stem.size()) {
        if (stem[wanted] == U'*') {
            afterStar = ++wanted;
            matchedFrom = at;
        } else if (at >= name.size()) { // NOLINT(bugprone-branch-clone): for different reasons
            return false;
        } else if (stem[wanted] == name[at] || isAnyCharacter(stem[wanted])) {
            ++wanted;
            ++at;
        } else if (afterStar > 0) {
            wanted = afterStar;
            at = ++matchedFrom;
        } else {
            return false;
        }
    }
    return true;
}

} // namespace

bool TakenNames::contains(const QString& name)
{
    const QString stem = stemOf(name);
    return stem.isEmpty() ? hasEntry(name) : hasBeginning(stem);
}

QString TakenNames::decisivePart(const QString& name) const
{
    const QString stem = stemOf(name);
    return stem.isEmpty() ? name : stem;
}

/** Empty for a name to be tested exactly, as no name would be free of an empty stem. */
QString TakenNames::stemOf(const QString& name) const
{
    return m_exact ? QString() : FileUtils::stripExtension(name);
}

bool TakenNames::hasEntry(const QString& name)
{
    if (m_entryQuestions < questionsBeforeListing && ++m_entryQuestions == questionsBeforeListing) {
        const QStringList listed = namesIn(m_dir.path());
        m_entries.reserve(std::size_t(listed.size()));
        for (const QString& entry : listed) {
            // With a colon Qt may take a name for that of a resource.
            if (!entry.contains(QLatin1Char(':')))
                m_entries.insert(entry);
        }
    }
    return m_entries.count(name) > 0 || m_dir.exists(name); // hidden ones are not listed
}

bool TakenNames::hasBeginning(const QString& stem)
{
    if (!m_foldedNames) {
        const QStringList listed = namesIn(m_dir.path());
        std::vector<std::u32string>& names = m_foldedNames.emplace();
        names.reserve(std::size_t(listed.size()));
        for (const QString& name : listed)
            names.push_back(caseFolded(name));
        std::sort(names.begin(), names.end());
    }
    const std::u32string wanted = caseFolded(stem);
    const std::u32string_view literal
        = std::u32string_view(wanted).substr(0, wanted.find_first_of(U"*?[]"));
    auto name = std::lower_bound(m_foldedNames->begin(), m_foldedNames->end(), literal);
    for (; name != m_foldedNames->end() && name->compare(0, literal.size(), literal) == 0; ++name) {
        if (beginsWith(*name, wanted))
            return true;
    }
    return false;
}

} // namespace kel
