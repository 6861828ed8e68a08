#include "platform/StopSwitch.h"

#include <Quarn/companion/IOException.h>

#include <QString>

#include <windows.h>

namespace {

HANDLE event(std::intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

} // namespace

StopSwitch::StopSwitch()
    : m_stopped(false), m_handles{reinterpret_cast<std::intptr_t>(
                                      ::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
                                  0}
{
    if (!m_handles[0])
        throw kel::IOException(qt_error_string());
}

StopSwitch::~StopSwitch()
{
    ::CloseHandle(event(m_handles[0]));
}

void StopSwitch::stop()
{
    m_stopped = true;
    ::SetEvent(event(m_handles[0]));
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
    ::WaitForSingleObject(event(m_handles[0]), DWORD(msecs));
    return !m_stopped;
}
