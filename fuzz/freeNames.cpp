// Patterns and counter formats against what printf() makes of them, stems against QDir's filters.
#include "Input.h"

#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDateTime>
#include <QRegularExpression>

using kel::FileUtils;

namespace {

const QDir& folder()
{
    static const TemporaryFolder folder;
    static const QDir dir = [] {
        createEntries(folder.root(), {"report.txt", "Report 2.pdf", "photo_2.jpg", "photo_3.jpg",
                                      "photo.jpg", "a", "a2", "a.b.c", ".hidden",
                                      "gr\xc3\xbc\xc3\x9f"
                                      "e.txt",
                                      "[x].y", "x/", "2024-05-31 13.45.log", "\xf0\x9f\x98\x80.png",
                                      "\xe2\x84\xaa.txt", "back\\slash"});
        return QDir(folder.path());
    }();
    return dir;
}

/** As printf() would put \a number into \a format, null for what isn't documented as a format. */
QString formatted(const QByteArray& format, int number)
{
    static const QRegularExpression documented(QStringLiteral(
        "\\A((?:[^%]|%%)*)(?:(%[-+ #0']*\\d{0,3}(?:\\.\\d{0,3})?)(?:hh?|ll?|[jzt])?([diouxX])"
        "((?:[^%]|%%)*))?\\z"));
    const auto match = documented.match(QString::fromUtf8(format.constData()));
    if (!match.hasMatch())
        return QString();
    QString before = match.captured(1);
    QString after = match.captured(4);
    const QByteArray conversion = (match.captured(2) + match.captured(3)).toLatin1();
    const QString digits
        = conversion.isEmpty() ? QString() : QString::asprintf(conversion.constData(), number);
    const auto percents
        = [](QString& text) { return text.replace(QStringLiteral("%%"), QStringLiteral("%")); };
    return QLatin1String("") + percents(before) + digits + percents(after);
}

bool isTaken(const QString& name, bool exact)
{
    QString stem = exact ? QString() : FileUtils::stripExtension(name);
    if (stem.isEmpty())
        return folder().exists(name);
    stem.replace(QLatin1Char('['), QLatin1Char('?')).replace(QLatin1Char(']'), QLatin1Char('?'));
    return !QDir(folder().path())
                .entryList({stem + QLatin1Char('*')}, QDir::AllEntries | QDir::NoDotAndDotDot)
                .isEmpty();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const bool exact = input.flag();
    const QString pattern = input.textLine();
    const QByteArray format = input.line();
    const QDateTime moment(QDate(2024, 5, 31), QTime(13, 45));

    QString name = pattern;
    name.replace(QStringLiteral("%d"), QStringLiteral("2024-05-31"))
        .replace(QStringLiteral("%t"), QStringLiteral("13.45"));
    require(FileUtils::exists(folder(), name, exact) == isTaken(name, exact), "taken as in QDir");

    QString expected = name;
    const auto dot = name.lastIndexOf(QLatin1Char('.'));
    for (int number = 2; number < 10 && isTaken(expected, exact); ++number) {
        const QString counter = formatted(format, number);
        expected = counter.isNull() ? QString() : name;
        expected.insert(dot > 0 ? dot : name.size(), counter);
        if (counter.isNull())
            break;
        if (number == 9)
            return 0; // enough of them
    }
    const QString unique
        = FileUtils::uniqueFileName(folder(), pattern, moment, format.constData(), exact);
    require(unique == expected || (unique.isNull() && isTaken(expected, exact)), "the first free");
    return 0;
}
