#include <Quarn/platform/ProcessEnd_p.h>

#include <windows.h>

namespace kel {
namespace {

#ifdef _UCRT
constexpr wchar_t runtimeLibrary[] = L"ucrtbase.dll";
constexpr char runtimeAtExit[] = "_crt_atexit";
#else
constexpr wchar_t runtimeLibrary[] = L"msvcrt.dll";
constexpr char runtimeAtExit[] = "_onexit"; // answers with the function, or null
#endif

} // namespace

bool otherThreadsHaveEnded()
{
    // ExitProcess() ends them before it has the libraries destroy their objects. No header has this.
    using ShutdownInProgress = BOOLEAN(WINAPI*)();
    const HMODULE system = ::GetModuleHandleW(L"ntdll.dll");
    const auto inProgress = reinterpret_cast<ShutdownInProgress>(reinterpret_cast<void*>(
        system ? ::GetProcAddress(system, "RtlDllShutdownInProgress") : nullptr));
    return inProgress && inProgress();
}

void callBeforeThreadsEnd(void (*function)())
{
    // What a library gives atexit() is called when the system unloads it. The functions of the
    // program are called before; that list is the runtime library's, which this one shares with it.
    using Register = int(__cdecl*)(void(__cdecl*)());
    const HMODULE runtime = ::GetModuleHandleW(runtimeLibrary);
    const auto atExit = reinterpret_cast<Register>(
        reinterpret_cast<void*>(runtime ? ::GetProcAddress(runtime, runtimeAtExit) : nullptr));
    HMODULE library = nullptr;
    if (atExit
        && ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS
                                    | GET_MODULE_HANDLE_EX_FLAG_PIN,
                                reinterpret_cast<LPCWSTR>(&otherThreadsHaveEnded), &library))
        atExit(function);
}

} // namespace kel
