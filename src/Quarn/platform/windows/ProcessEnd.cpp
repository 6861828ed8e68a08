#include <Quarn/platform/ProcessEnd_p.h>

#include <windows.h>

namespace kel {

bool otherThreadsHaveEnded()
{
    // ExitProcess() ends them before it has the libraries destroy their objects. No header has this.
    using ShutdownInProgress = BOOLEAN(WINAPI*)();
    const HMODULE system = ::GetModuleHandleW(L"ntdll.dll");
    const auto inProgress = reinterpret_cast<ShutdownInProgress>(reinterpret_cast<void*>(
        system ? ::GetProcAddress(system, "RtlDllShutdownInProgress") : nullptr));
    return inProgress && inProgress();
}

} // namespace kel
