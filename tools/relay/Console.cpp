#include "Console.h"

#include "platform/StandardStreams.h"

#include <QCoreApplication>

bool Console::print(const QString& text)
{
    return StandardStreams::write(stdout, text);
}

bool Console::print(const QByteArray& bytes)
{
    return StandardStreams::write(stdout, bytes);
}

bool Console::printError(const QString& text)
{
    return StandardStreams::write(stderr, text);
}

void Console::fail(const QString& message)
{
    QString line = message;
    for (QChar& character : line)
        if (character.category() == QChar::Other_Control)
            character = QLatin1Char('?');
    printError(QStringLiteral("%1: %2\n").arg(QCoreApplication::applicationName(), line));
}
