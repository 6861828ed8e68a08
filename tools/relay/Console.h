#ifndef RELAY_CONSOLE_H
#define RELAY_CONSOLE_H

#include <QString>

/** \brief Standard output, for results, and standard error, for progress and what went wrong. */
class Console
{
public:
    /**
     * Prepares the process; call it before anything else opens a file. Standard streams that
     * were closed refuse their use instead of becoming the next file that is opened, names are
     * taken as UTF-8 where no locale is set, and failed writes are results, not signals.
     */
    static void prepare();

    /** False when not all of it could be written; the reason is in errno. */
    static bool print(const QString& text);
    static bool print(const QByteArray& bytes);
    static bool printError(const QString& text);

    /** One line on standard error; control characters within \a message come out as '?'. */
    static void fail(const QString& message);

    /** Whether standard error is a terminal that can redraw a line. */
    static bool errorIsTerminal();

    /** Whether standard error would take text now; a terminal may be stopped. */
    static bool errorIsReady();

    /** Columns of the terminal on standard error, 80 when it doesn't tell. */
    static int terminalWidth();
};

/** The system's text for the error number \a error. */
QString systemReason(int error);

#endif
