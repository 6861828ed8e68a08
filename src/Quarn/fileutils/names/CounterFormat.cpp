#include <Quarn/fileutils/names/CounterFormat_p.h>

#include <QRegularExpression>
#include <QStringBuilder>

namespace kel {

CounterFormat::CounterFormat(const char* format)
    : m_valid(format && parse(QString::fromUtf8(format)))
{ }

QString CounterFormat::text(int number) const
{
    if (!hasConversion())
        return m_before;
    const bool plain = m_conversion == "%d"; // nearly always; asprintf() takes its time
    const QString digits
        = plain ? QString::number(number) : QString::asprintf(m_conversion.constData(), number);
    return m_before % digits % m_after;
}

bool CounterFormat::parse(const QString& format)
{
    // Three digits of width or precision are more than any file name holds; without a limit a
    // format could ask for a text of 2 GiB.
    static const QRegularExpression conversion(
        QStringLiteral("\\G%([-+ #0']*\\d{0,3}(?:\\.\\d{0,3})?)(?:hh?|ll?|[jzt])?([diouxX])"));
    const QLatin1Char percent('%');

    decltype(format.size()) at = 0;
    for (;;) {
        QString& literal = hasConversion() ? m_after : m_before;
        const auto next = format.indexOf(percent, at);
        literal += format.mid(at, next < 0 ? -1 : next - at);
        if (next < 0)
            return true;
        if (format.mid(next, 2) == QLatin1String("%%")) {
            literal += percent;
            at = next + 2;
            continue;
        }
        const QRegularExpressionMatch match = conversion.match(format, next);
        if (!match.hasMatch() || hasConversion())
            return false;
        m_conversion = QString(percent + match.captured(1) + match.captured(2)).toLatin1();
        at = match.capturedEnd();
    }
}

} // namespace kel
