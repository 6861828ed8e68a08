#include "StopSwitch.h"

#include "Console.h"

#include <Quarn/companion/IOException.h>

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

StopSwitch::StopSwitch() : m_stopped(false)
{
    if (::pipe2(m_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        throw kel::IOException(systemReason(errno));
}

StopSwitch::~StopSwitch()
{
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}

void StopSwitch::stop()
{
    if (m_stopped.exchange(true))
        return;
    const char byte = 0; // never taken out again
    while (::write(m_pipe[1], &byte, 1) < 0 && errno == EINTR) { }
}

bool StopSwitch::stopped() const
{
    return m_stopped;
}

int StopSwitch::descriptor() const
{
    return m_pipe[0];
}

bool StopSwitch::waitForInput(int descriptor) const
{
    pollfd polled[] = {{descriptor, POLLIN, 0}, {m_pipe[0], POLLIN, 0}};
    while (::poll(polled, 2, -1) < 0 && errno == EINTR) { }
    return !m_stopped;
}

bool StopSwitch::sleep(int msecs) const
{
    pollfd polled = {m_pipe[0], POLLIN, 0};
    ::poll(&polled, 1, msecs);
    return !m_stopped;
}
