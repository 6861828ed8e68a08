#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/fileutils/CounterFormat_p.h>
#include <Quarn/fileutils/ListedNames_p.h>
#include <Quarn/fileutils/VisibleNames_p.h>

#include <QDateTime>
#include <QStringBuilder>

#include <limits>
#include <optional>

namespace kel {
namespace {

/** The question of FileUtils::exists(), asked many times with one listing of the folder. */
class TakenTest
{
public:
    TakenTest(const QDir& dir, bool exact) : m_dir(dir), m_exact(exact), m_listed(dir.path()) { }

    bool operator()(const QString& name)
    {
        const QString stem = stemOf(name);
        if (stem.isEmpty())
            return m_listed.contains(name) || m_dir.exists(name);
        if (!m_visible)
            m_visible.emplace(m_dir.path());
        return m_visible->anyBeginsWith(stem);
    }

    /** Whether \a name and \a other are taken by the same entries. */
    bool sameAnswer(const QString& name, const QString& other) const
    {
        const QString stem = stemOf(name);
        return name == other || (!stem.isEmpty() && stem == stemOf(other));
    }

private:
    /** Empty for a name to be tested exactly, as no name would be free of an empty stem. */
    QString stemOf(const QString& name) const
    {
        return m_exact ? QString() : FileUtils::stripExtension(name);
    }

    const QDir m_dir;
    const bool m_exact;
    ListedNames m_listed;
    std::optional<VisibleNames> m_visible;
};

QString withMoment(QString pattern, const QDateTime& moment)
{
    pattern.replace(QLatin1String("%d"), moment.date().toString(QStringLiteral("yyyy-MM-dd")));
    pattern.replace(QLatin1String("%t"), moment.time().toString(QStringLiteral("hh.mm")));
    return pattern;
}

} // namespace

bool FileUtils::exists(const QDir& dir, const QString& name, bool exact)
{
    return TakenTest(dir, exact)(name);
}

QString FileUtils::uniqueFileName(const QDir& dir, const QString& pattern,
                                  const QDateTime& dateTime, const char* counterFormat, bool exact)
{
    TakenTest isTaken(dir, exact);
    const QString name
        = withMoment(pattern, dateTime.isValid() ? dateTime : QDateTime::currentDateTime());
    if (!isTaken(name))
        return name;

    const CounterFormat counter(counterFormat);
    const auto lastDot = name.lastIndexOf(QLatin1Char('.'));
    const auto insertion = lastDot > 0 ? lastDot : name.size();
    const QString beginning = name.left(insertion);
    const QString ending = name.mid(insertion);
    QString before;
    for (int number = 2; counter.isValid(); ++number) {
        const QString candidate = beginning % counter.text(number) % ending;
        if (!isTaken(candidate))
            return candidate;
        // Two tell for all that the counter is not in what is compared, so that no number will do.
        const bool endless = number == 3 && isTaken.sameAnswer(candidate, before);
        if (endless || number == std::numeric_limits<int>::max())
            break;
        before = candidate;
    }
    return QString();
}

QString FileUtils::uniqueFileName(const QDir& dir, const QString& pattern,
                                  const char* counterFormat, bool exact)
{
    return uniqueFileName(dir, pattern, QDateTime(), counterFormat, exact);
}

} // namespace kel
