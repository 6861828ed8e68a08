#ifndef RELAY_COMMANDLINETEXT_H
#define RELAY_COMMANDLINETEXT_H

#include <QString>
#include <QStringList>

#include <vector>

/** An option of the program, as the parser, the help, the manual page and shells take it. */
struct CommandLineOption
{
    enum Value { None, Text, File, OneOf };

    QString name;
    QString description;
    Value value = None;
    QString placeholder = {}; // stands for the value
    QStringList choices = {}; // for OneOf
    QString usualValue = {};
    QString letter = {}; // the short name, if it has one
};

/** \brief What the program says about itself, the one source of all texts about its use. */
class CommandLineText
{
public:
    static constexpr int mostReaders = 64;

    static QString summary();

    /** What it does, in paragraphs. */
    static QStringList description();

    /** What INPUT is. */
    static QString input();

    /** What each exit status means, from 0 up. */
    static QStringList exitStatus();

    /** For the manual page alone: what the report looks like with --json, in paragraphs. */
    static QStringList json();

    /** For the manual page alone: a text, and the command for it behind. */
    static std::vector<std::pair<QString, QString>> examples();

    /** Every option there is. */
    static std::vector<CommandLineOption> options();
};

#endif
