#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/fileutils/names/CounterFormat_p.h>
#include <Quarn/fileutils/names/TakenNames_p.h>

#include <QDateTime>
#include <QStringBuilder>

#include <limits>

namespace kel {
namespace {

QString withMoment(QString pattern, const QDateTime& moment)
{
    pattern.replace(QLatin1String("%d"), moment.date().toString(QStringLiteral("yyyy-MM-dd")));
    pattern.replace(QLatin1String("%t"), moment.time().toString(QStringLiteral("hh.mm")));
    return pattern;
}

} // namespace

bool FileUtils::exists(const QDir& dir, const QString& name, bool exact)
{
    return TakenNames(dir, exact).contains(name);
}

QString FileUtils::uniqueFileName(const QDir& dir, const QString& pattern,
                                  const QDateTime& dateTime, const char* counterFormat, bool exact)
{
    TakenNames taken(dir, exact);
    const QString name
        = withMoment(pattern, dateTime.isValid() ? dateTime : QDateTime::currentDateTime());
    if (!taken.contains(name))
        return name;

    const CounterFormat counter(counterFormat);
    if (!counter.isValid())
        return QString();
    const auto lastDot = name.lastIndexOf(QLatin1Char('.'));
    const auto insertion = lastDot > 0 ? lastDot : name.size();
    const QString beginning = name.left(insertion);
    const QString ending = name.mid(insertion);
    const auto candidate
        = [&](int number) -> QString { return beginning % counter.text(number) % ending; };
    // The counter may be missing, or stand in an extension, which nobody compares: two numbers tell
    // for all whether another one is of use.
    const bool counts = taken.decisivePart(candidate(2)) != taken.decisivePart(candidate(3));
    const int last = counts ? std::numeric_limits<int>::max() : 2;
    for (int number = 2;; ++number) {
        QString free = candidate(number);
        if (!taken.contains(free))
            return free;
        if (number == last)
            return QString();
    }
}

QString FileUtils::uniqueFileName(const QDir& dir, const QString& pattern,
                                  const char* counterFormat, bool exact)
{
    return uniqueFileName(dir, pattern, QDateTime(), counterFormat, exact);
}

} // namespace kel
