#include <Quarn/fileutils/names/NameEndings_p.h>

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

std::optional<NameEndings> NameEndings::from(const QStringList& filters)
{
    NameEndings endings;
    for (const QString& filter : filters) {
        const QString ending = filter.mid(1);
        if (!filter.startsWith(QLatin1Char('*')) || !isLiteral(ending) || !isAscii(ending))
            return std::nullopt;
        endings.m_filters.append(filter);
        endings.m_endings.append(ending);
    }
    return endings;
}

bool NameEndings::fit(const QString& name) const
{
    if (m_filters.isEmpty())
        return true;
    if (!isAscii(name))
        return QDir::match(m_filters, name); // some letters have a small one that is ASCII
    return std::any_of(m_endings.begin(), m_endings.end(), [&name](const QString& ending) {
        return name.endsWith(ending, Qt::CaseInsensitive);
    });
}

} // namespace kel
