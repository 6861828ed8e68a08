#include "completions.h"

#include "CommandLineText.h"

namespace {

/** The options that take such a \a value, with \a separator between them. */
QString names(CommandLineOption::Value value, const QString& separator)
{
    QStringList names;
    for (const CommandLineOption& option : CommandLineText::options())
        if (option.value == value)
            names += QStringLiteral("--") + option.name;
    return names.join(separator);
}

/** What stands in zsh's quotes and brackets without meaning anything. */
QString escaped(QString text)
{
    text.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    for (const QLatin1Char special : {QLatin1Char('['), QLatin1Char(']'), QLatin1Char(':')})
        text.replace(special, QLatin1Char('\\') + QString(special));
    return text;
}

QString zshValue(const CommandLineOption& option)
{
    switch (option.value) {
    case CommandLineOption::None:
        return {};
    case CommandLineOption::Text:
        return QStringLiteral(":%1: ").arg(option.placeholder);
    case CommandLineOption::File:
        return QStringLiteral(":%1:_files").arg(option.placeholder);
    case CommandLineOption::OneOf:
        return QStringLiteral(":%1:(%2)")
            .arg(option.placeholder, option.choices.join(QLatin1Char(' ')));
    }
    return {};
}

} // namespace

QString bashCompletion()
{
    const QString either = QStringLiteral(" | ");
    QString choices;
    QStringList all;
    for (const CommandLineOption& option : CommandLineText::options()) {
        all += QStringLiteral("--") + option.name;
        if (option.value == CommandLineOption::OneOf)
            choices += QStringLiteral("        --%1) words='%2' ;;\n")
                           .arg(option.name, option.choices.join(QLatin1Char(' ')));
    }
    // Bash takes --option=value for three words.
    return QStringLiteral(R"(# bash completion for quarn-relay

_quarn_relay() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words=''
    COMPREPLY=()
    if [[ $word == = ]]; then
        word=''
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case $before in
%1        %2) return ;;
        %3) ;;
        *) [[ $word != -* ]] || words='%4' ;;
    esac
    if [[ $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    else
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}

complete -F _quarn_relay quarn-relay
)")
        .arg(choices, names(CommandLineOption::Text, either),
             names(CommandLineOption::File, either), all.join(QLatin1Char(' ')));
}

QString zshCompletion()
{
    QString text = QStringLiteral("#compdef quarn-relay\n\n_arguments -s \\\n");
    for (const CommandLineOption& option : CommandLineText::options()) {
        const QString about = QStringLiteral("[%1]").arg(
            escaped(option.description.section(QStringLiteral(". "), 0, 0)));
        const bool hasValue = option.value != CommandLineOption::None;
        text += QStringLiteral("    '%1--%2%3%4%5' \\\n")
                    .arg(option.name == QLatin1String("pin") ? QStringLiteral("*") : QString(),
                         option.name, hasValue ? QStringLiteral("=") : QString(), about,
                         zshValue(option));
        if (!option.letter.isEmpty())
            text += QStringLiteral("    '-%1%2' \\\n").arg(option.letter, about);
    }
    return text + QStringLiteral("    '1:INPUT:_files'\n");
}
