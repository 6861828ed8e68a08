#include <Quarn/companion/NameFilters_p.h>

#include <QDir>

#include <algorithm>

namespace kel {
namespace {

bool isAscii(const QString& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](QChar character) { return character.unicode() < 0x80; });
}

bool isLiteral(const QString& text)
{
    const QLatin1String special("*?[]\\");
    return std::none_of(special.begin(), special.end(),
                        [&text](char character) { return text.contains(QLatin1Char(character)); });
}

} // namespace

NameFilters::NameFilters(const QStringList& filters)
{
    for (const QString& filter : filters) {
        const QString ending = filter.mid(1);
        if (filter.startsWith(QLatin1Char('*')) && isLiteral(ending) && isAscii(ending)) {
            m_endings.append(ending);
            m_endingFilters.append(filter);
        } else {
            m_patterns.emplace_back(QRegularExpression::wildcardToRegularExpression(filter),
                                    QRegularExpression::CaseInsensitiveOption);
        }
    }
}

bool NameFilters::fit(const QString& name) const
{
    if (m_endings.isEmpty() && m_patterns.empty())
        return true;
    const bool ends
        = std::any_of(m_endings.begin(), m_endings.end(), [&name](const QString& ending) {
              return name.endsWith(ending, Qt::CaseInsensitive);
          });
    if (ends || (!m_endings.isEmpty() && !isAscii(name) && QDir::match(m_endingFilters, name)))
        return true; // some letters have a small one that is ASCII
    return std::any_of(
        m_patterns.begin(), m_patterns.end(),
        [&name](const QRegularExpression& pattern) { return pattern.match(name).hasMatch(); });
}

} // namespace kel
