#ifndef RELAY_PRODUCER_H
#define RELAY_PRODUCER_H

#include "Options.h"
#include "Worker.h"

#include <atomic>

class Channel;
class InputFile;
class StopSwitch;

/**
 * \brief The thread that writes the input to the channel and finishes it at the end.
 *
 * An input that ends early, also by the StopSwitch, is recorded there as a failure, so that no
 * consumer takes what came for the whole.
 */
class Producer : public Worker
{
    Q_OBJECT

public:
    Producer(const Options& options, Channel& channel, const StopSwitch& stop);
    ~Producer() override;

    /** Size of the input, -1 as long as it isn't known. Any thread. */
    qint64 inputSize() const;

    /** Once finished: what went wrong, in one line; empty when nothing did. */
    QString failure() const;

Q_SIGNALS:
    /** Comes from the thread once: half of the input has been written, or 1 MiB of an unknown size. */
    void halfWritten();

private:
    void run() override;
    QString relay();
    QString relay(InputFile& input);

    const Options m_options;
    Channel& m_channel;
    const StopSwitch& m_stop;
    std::atomic<qint64> m_inputSize;
    QString m_failure;
};

#endif
