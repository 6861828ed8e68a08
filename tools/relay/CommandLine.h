#ifndef RELAY_COMMANDLINE_H
#define RELAY_COMMANDLINE_H

#include "Options.h"

#include <QCommandLineParser>

/** \brief The program's command line: options to work with, a text to print, or an error. */
class CommandLine
{
public:
    explicit CommandLine(const QStringList& arguments);

    /** What is wrong, in one line; empty when nothing is. */
    QString error() const;

    /** The help or the version, to be printed instead of working; empty when not asked for. */
    QString information() const;

    Options options() const;

private:
    void declare();
    void check();
    void checkSignatureOptions();
    void readOptions();
    void fail(const QString& error);
    void readMemoryLimit();
    qint64 number(const QString& option, qint64 lowest, qint64 highest);

    QCommandLineParser m_parser;
    Options m_options;
    QString m_error;
    QString m_information;
};

#endif
