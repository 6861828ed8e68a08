#ifndef RELAY_CONSOLE_H
#define RELAY_CONSOLE_H

#include <QString>

/** \brief Standard output, for results, and standard error, for progress and what went wrong. */
class Console
{
public:
    /** False when not all of it could be written; the reason is in errno. */
    static bool print(const QString& text);
    static bool print(const QByteArray& bytes);
    static bool printError(const QString& text);

    /** One line on standard error; control characters within \a message come out as '?'. */
    static void fail(const QString& message);
};

#endif
