#ifndef RELAY_PLATFORM_STOPSWITCH_H
#define RELAY_PLATFORM_STOPSWITCH_H

#include <QtGlobal>

#include <atomic>
#include <cstdint>

/** \brief Tells every thread, also one that waits, to stop. Any thread; cannot be undone. */
class StopSwitch
{
public:
    /** Throws kel::IOException when the system has no more descriptors. */
    StopSwitch();
    ~StopSwitch();

    void stop();
    bool stopped() const;

    /**
     * What the system's calls wait for: a descriptor that is readable from the stop on, or on Windows
     * an event that is set.
     */
    std::intptr_t waitable() const;

    /** Sleeps; false when stopped. */
    bool sleep(int msecs) const;

private:
    Q_DISABLE_COPY(StopSwitch)

    std::atomic<bool> m_stopped;
    std::intptr_t m_handles[2]; // of a pipe; only the first where one is all
};

#endif
