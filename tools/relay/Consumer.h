#ifndef RELAY_CONSUMER_H
#define RELAY_CONSUMER_H

#include "Worker.h"

#include <Quarn/companion/TransferProgress.h>

#include <QJsonObject>

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <functional>

class Channel;
class StopSwitch;

namespace kel {
class IRandomAccessIO;
}

/** \brief A thread that reads everything from the channel, whenever it is started. */
class Consumer : public Worker
{
    Q_OBJECT

public:
    Consumer(const QString& name, const Channel& channel, const StopSwitch& stop);
    ~Consumer() override;

    QString name() const;

    /** Bytes taken so far. Any thread. */
    qint64 bytes() const;

    // Once finished:

    double seconds() const;

    /** Whether it took everything, to the proper end of the input. */
    bool complete() const;

    /** What went wrong with this consumer itself, in one line; empty when nothing did. */
    QString failure() const;

    /** What came of it, in a few words. */
    virtual QString result() const;

    /** The figures in result(), for programs that read the report. */
    virtual QJsonObject details() const;

protected:
    /** Takes everything from \a reader, until stopped(). May throw kel::ExceptionQt. */
    virtual void consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader) = 0;

    /**
     * Has \a work read \a reader to its end, counted, and until stopped(). What it answers; false
     * when that wasn't about the whole input.
     */
    bool workOnAll(const kel::IRandomAccessIO& reader,
                   const std::function<bool(const kel::TransferProgress&)>& work);

    void addBytes(qint64 count);
    bool stopped() const;

private:
    void run() override;

    const QString m_name;
    const Channel& m_channel;
    const StopSwitch& m_stop;
    std::atomic<qint64> m_bytes; // written by this thread alone
    double m_seconds;
    bool m_complete;
    QString m_failure;
};

/** Whether \a reader has delivered the whole input. */
bool deliveredAll(const kel::IRandomAccessIO& reader);

#endif
