#ifndef RELAY_PLATFORM_INPUTSOURCE_H
#define RELAY_PLATFORM_INPUTSOURCE_H

#include <QFile>

#include <memory>

class StopSwitch;

/**
 * \brief Opens a file, a device, a pipe or standard input, and reads what is there.
 *
 * Neither waits for a pipe's writer at the opening nor for anything after the stop. For one thread.
 */
class InputSource
{
public:
    /** Both are borrowed. */
    InputSource(QFile& file, const StopSwitch& stop);
    InputSource(const InputSource&) = delete;
    InputSource& operator=(const InputSource&) = delete;
    ~InputSource();

    /** Opens \a path, which may be "-" for standard input, as the file; why it can't, or empty. */
    QString open(const QString& path);

    /**
     * One read of what is there, not repeated until all of \a maxSize is; waits while there is nothing.
     * 0 at the end, and when stopped; -1, with the \a reason, when it fails.
     */
    qint64 read(char* data, qint64 maxSize, QString* reason);

private:
    struct Waiting;

    QFile& m_file;
    const StopSwitch& m_stop;
    std::unique_ptr<Waiting> m_waiting; // where the system needs more than the file for it
};

#endif
