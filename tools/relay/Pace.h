#ifndef RELAY_PACE_H
#define RELAY_PACE_H

#include <QElapsedTimer>

class StopSwitch;

/** \brief Keeps a transfer to a number of bytes a second. */
class Pace
{
public:
    /** 0 \a bytesPerSecond sets no limit. */
    Pace(qint64 bytesPerSecond, const StopSwitch& stop);

    /** Bytes to move at a time: less at a low rate, so that it flows evenly. */
    int blockSize() const;

    /** Waits until \a count more bytes may have been moved; false when stopped. */
    bool keep(int count);

private:
    const qint64 m_bytesPerSecond;
    const StopSwitch& m_stop;
    QElapsedTimer m_clock;
    qint64 m_startMsecs; // on m_clock
    qint64 m_count; // moved since then
};

#endif
