#ifndef RELAY_PLATFORM_SIGNALWATCH_H
#define RELAY_PLATFORM_SIGNALWATCH_H

#include <QObject>

/**
 * \brief Turns the first signal that asks the process to end into a Qt signal.
 *
 * There is time for an orderly end then. A second signal ends the process at once, without the
 * file that was named to be removed. A signal that the process was started to ignore stays so.
 * One object at a time, in the main thread.
 *
 * On Windows Ctrl+C and Ctrl+Break count as signals, and so does the end of the console or of the
 * session, after which the system leaves the process a few seconds.
 */
class SignalWatch : public QObject
{
    Q_OBJECT

public:
    /** What stands for standard output, or error, that nobody reads any more; is never caught. */
    static const int brokenPipe;

    /** Throws kel::IOException when the system has no more descriptors. */
    SignalWatch();
    ~SignalWatch() override;

    /** Names the file that must not stay behind, once; it may not exist yet or any more. */
    static void setFileToRemove(const QString& path);

    /**
     * Ends the process as \a signal does by itself, so that its parent sees why. Returns where the
     * system knows no such end.
     */
    static void endProcess(int signal);

Q_SIGNALS:
    void caught(int signal);
};

#endif
