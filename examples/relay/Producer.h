#ifndef RELAY_PRODUCER_H
#define RELAY_PRODUCER_H

#include "Options.h"
#include "Worker.h"

#include <boost/shared_ptr.hpp>

#include <atomic>

class InputFile;
class StopSwitch;

namespace kel {
class MultiUserBuffer;
}

/**
 * \brief The thread that fills the shared buffer with the input and closes it at the end.
 *
 * An input that ends early, also by the StopSwitch, is recorded in the buffer as a failure, so
 * that no consumer takes what came for the whole.
 */
class Producer : public Worker
{
    Q_OBJECT

public:
    Producer(const Options& options, boost::shared_ptr<kel::MultiUserBuffer> buffer,
             const StopSwitch& stop);
    ~Producer() override;

    /** Size of the input, -1 as long as it isn't known. Any thread. */
    qint64 inputSize() const;

    /** Once finished: what went wrong, in one line; empty when nothing did. */
    QString failure() const;

private:
    void run() override;
    QString relay();
    QString relay(InputFile& input);

    const Options m_options;
    const boost::shared_ptr<kel::MultiUserBuffer> m_buffer;
    const StopSwitch& m_stop;
    std::atomic<qint64> m_inputSize;
    QString m_failure;
};

#endif
