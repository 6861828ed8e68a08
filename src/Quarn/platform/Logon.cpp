#include <Quarn/platform/Logon_p.h>

#include <atomic>
#include <cstdint>

namespace kel {
namespace {

std::atomic<const LogonFunctions*> replacement{nullptr};

} // namespace

void* invalidToken() noexcept
{
    return reinterpret_cast<void*>(std::intptr_t(-1));
}

const LogonFunctions& logonFunctions()
{
    const LogonFunctions* const functions = replacement;
    return functions ? *functions : systemLogonFunctions();
}

void replaceLogonFunctions(const LogonFunctions* functions)
{
    replacement = functions;
}

} // namespace kel
