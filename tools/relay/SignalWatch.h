#ifndef RELAY_SIGNALWATCH_H
#define RELAY_SIGNALWATCH_H

#include <QObject>

/**
 * \brief Turns the first signal that asks the process to end into a Qt signal.
 *
 * There is time for an orderly end then. A second signal ends the process at once, without the
 * file that was named to be removed. A signal that the process was started to ignore stays so.
 * One object at a time, in the main thread.
 */
class SignalWatch : public QObject
{
    Q_OBJECT

public:
    /** Throws kel::IOException when the system has no more descriptors. */
    SignalWatch();
    ~SignalWatch() override;

    /** Names the file that must not stay behind, once; it may not exist yet or any more. */
    static void setFileToRemove(const QString& path);

    /** Ends the process as \a signal does by itself, so that its parent sees why. */
    static void endProcess(int signal);

Q_SIGNALS:
    void caught(int signal);

private:
    void receive();
};

#endif
