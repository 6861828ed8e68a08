#include "manualPage.h"

#include "CommandLineText.h"

#include <Quarn/quarn_version.h>

namespace {

/** As it stands: no character of \a text means anything to groff. */
QString escaped(QString text)
{
    text.replace(QLatin1Char('\\'), QStringLiteral("\\e"))
        .replace(QLatin1Char('-'), QStringLiteral("\\-"))
        .replace(QLatin1Char('\''), QStringLiteral("\\(aq"));
    return text.startsWith(QLatin1Char('.')) ? QStringLiteral("\\&") + text : text;
}

QString section(const QString& title)
{
    return QStringLiteral(".SH %1\n").arg(title);
}

QString paragraphs(const QStringList& texts)
{
    QString page;
    for (const QString& text : texts)
        page += QStringLiteral(".PP\n") + escaped(text) + QLatin1Char('\n');
    return page;
}

/** A \a term, which is groff's already, with its text indented below. */
QString item(const QString& term, const QString& text)
{
    return QStringLiteral(".TP\n%1\n%2\n").arg(term, escaped(text));
}

QString optionTerm(const CommandLineOption& option)
{
    QString term;
    if (!option.letter.isEmpty())
        term = QStringLiteral("\\fB\\-%1\\fR, ").arg(option.letter);
    term += QStringLiteral("\\fB%1\\fR").arg(escaped(QStringLiteral("--") + option.name));
    if (option.value != CommandLineOption::None)
        term += QStringLiteral(" \\fI%1\\fR").arg(option.placeholder);
    return term;
}

} // namespace

QString manualPage()
{
    // Neither hyphens nor blanks that the text doesn't have: it is to be searched.
    QString page
        = QStringLiteral(".TH QUARN\\-RELAY 1 \"\" \"Quarn %1\" \"User Commands\"\n.nh\n.ad l\n")
              .arg(QStringLiteral(QUARN_VERSION_STRING));
    page += section(QStringLiteral("NAME"))
            + QStringLiteral("quarn\\-relay \\- %1\n").arg(escaped(CommandLineText::summary()));
    page += section(QStringLiteral("SYNOPSIS"))
            + QStringLiteral(".B quarn\\-relay\n[\\fIoptions\\fR] \\fIINPUT\\fR\n");
    page += section(QStringLiteral("DESCRIPTION")) + paragraphs(CommandLineText::description())
            + item(QStringLiteral("\\fIINPUT\\fR"), CommandLineText::input());
    page += section(QStringLiteral("OPTIONS"));
    for (const CommandLineOption& option : CommandLineText::options())
        page += item(optionTerm(option), option.description);
    page += section(QStringLiteral("EXIT STATUS"));
    int status = 0;
    for (const QString& text : CommandLineText::exitStatus())
        page += item(QStringLiteral("\\fB%1\\fR").arg(status++), text);
    page += section(QStringLiteral("JSON")) + paragraphs(CommandLineText::json());
    page += section(QStringLiteral("EXAMPLES"));
    for (const auto& [text, command] : CommandLineText::examples())
        page += paragraphs({text})
                + QStringLiteral(".PP\n.nf\n.RS\n%1\n.RE\n.fi\n").arg(escaped(command));
    return page;
}
