#include <Quarn/fileutils/VisibleNames_p.h>

#include <Quarn/platform/FolderListing_p.h>

#include <QStringList>

#include <algorithm>
#include <string_view>

namespace kel {
namespace {

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
        } else if (at >= name.size()) {
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

VisibleNames::VisibleNames(const QString& folder)
{
    const QStringList names = visibleNames(folder);
    m_names.reserve(std::size_t(names.size()));
    for (const QString& name : names)
        m_names.push_back(caseFolded(name));
    std::sort(m_names.begin(), m_names.end());
}

bool VisibleNames::anyBeginsWith(const QString& stem) const
{
    const std::u32string wanted = caseFolded(stem);
    const std::u32string_view literal
        = std::u32string_view(wanted).substr(0, wanted.find_first_of(U"*?[]"));
    auto name = std::lower_bound(m_names.begin(), m_names.end(), literal);
    for (; name != m_names.end() && name->compare(0, literal.size(), literal) == 0; ++name) {
        if (beginsWith(*name, wanted))
            return true;
    }
    return false;
}

} // namespace kel
