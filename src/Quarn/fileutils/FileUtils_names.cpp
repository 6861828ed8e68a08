#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/fileutils/CounterFormat_p.h>
#include <Quarn/fileutils/VisibleNames_p.h>

#include <QDateTime>

#include <limits>
#include <optional>

namespace kel {
namespace {

/** The question of FileUtils::exists(), asked many times with one listing of the folder. */
class TakenTest
{
public:
    TakenTest(const QDir& dir, bool exact) : m_dir(dir), m_exact(exact) { }

    bool operator()(const QString& name)
    {
        if (isExactFor(name))
            return m_dir.exists(name);
        if (!m_visible)
            m_visible.emplace(m_dir);
        return m_visible->anyBeginsWith(FileUtils::stripExtension(name));
    }

    /** Whether \a name and \a other are taken by the same entries. */
    bool sameAnswer(const QString& name, const QString& other) const
    {
        return name == other
               || (!isExactFor(name)
                   && FileUtils::stripExtension(name) == FileUtils::stripExtension(other));
    }

private:
    /** An empty stem would be found in every entry, and no name free of it. */
    bool isExactFor(const QString& name) const
    {
        return m_exact || FileUtils::stripExtension(name).isEmpty();
    }

    const QDir m_dir;
    const bool m_exact;
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
    QString before;
    for (int number = 2; counter.isValid(); ++number) {
        const QString candidate = QString(name).insert(insertion, counter.text(number));
        if (!isTaken(candidate))
            return candidate;
        if (isTaken.sameAnswer(candidate, before) || number == std::numeric_limits<int>::max())
            break; // the counter is not in what is compared, so no number will do
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
