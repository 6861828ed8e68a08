#ifndef RELAY_PLATFORM_STANDARDSTREAMS_H
#define RELAY_PLATFORM_STANDARDSTREAMS_H

#include <QString>

#include <cstdio>

/** What a system does for standard input, output and error. */
class StandardStreams
{
public:
    /**
     * Prepares the process; call it before anything else opens a file. Standard streams that
     * were closed refuse their use instead of becoming the next file that is opened, names are
     * taken as UTF-8 where no locale is set, and failed writes are results, not signals.
     */
    static void prepare();

    /** Writes to \c stdout or \c stderr; false when not all could be, with the reason in errno. */
    static bool write(std::FILE* stream, const QByteArray& bytes);
    /** The same with text, in what is used there: on Windows UTF-8, and all of Unicode in a console. */
    static bool write(std::FILE* stream, const QString& text);

    /** Whether standard error is a terminal that can redraw a line. */
    static bool errorIsTerminal();

    /** Whether standard error would take text now; a terminal may be stopped. */
    static bool errorIsReady();

    /** Columns of the terminal on standard error, 80 when it doesn't tell. */
    static int terminalWidth();
};

#endif
