#include "platform/StopSwitch.h"

#include "platform/systemReason.h"

#include <Quarn/companion/IOException.h>

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

StopSwitch::StopSwitch() : m_stopped(false)
{
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        throw kel::IOException(systemReason(errno));
    m_handles[0] = pipe[0];
    m_handles[1] = pipe[1];
}

StopSwitch::~StopSwitch()
{
    for (const std::intptr_t handle : m_handles)
        ::close(int(handle));
}

void StopSwitch::stop()
{
    if (m_stopped.exchange(true))
        return;
    const char byte = 0; // never taken out again
    while (::write(int(m_handles[1]), &byte, 1) < 0 && errno == EINTR) { }
}

bool StopSwitch::stopped() const
{
    return m_stopped;
}

std::intptr_t StopSwitch::waitable() const
{
    return m_handles[0];
}

bool StopSwitch::sleep(int msecs) const
{
    pollfd polled = {int(m_handles[0]), POLLIN, 0};
    ::poll(&polled, 1, msecs);
    return !m_stopped;
}
