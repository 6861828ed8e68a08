#ifndef RELAY_STOPSWITCH_H
#define RELAY_STOPSWITCH_H

#include <QtGlobal>

#include <atomic>

/** \brief Tells every thread, also one that waits, to stop. Any thread; cannot be undone. */
class StopSwitch
{
public:
    /** Throws kel::IOException when the system has no more descriptors. */
    StopSwitch();
    ~StopSwitch();

    void stop();
    bool stopped() const;

    /** A descriptor that is readable from the stop on. */
    int descriptor() const;

    /** Waits until \a descriptor has input or its end; false when stopped. */
    bool waitForInput(int descriptor) const;

    /** Sleeps; false when stopped. */
    bool sleep(int msecs) const;

private:
    Q_DISABLE_COPY(StopSwitch)

    std::atomic<bool> m_stopped;
    int m_pipe[2];
};

#endif
