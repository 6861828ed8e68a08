#include <Quarn/platform/Logon_p.h>

#include <atomic>
#include <cstdint>

namespace kel {

bool openLogonToken(const std::wstring&, const std::wstring&, void** token)
{
    static std::atomic<std::uintptr_t> last{0};
    // A value to compare, never followed. NOLINTNEXTLINE(performance-no-int-to-ptr)
    *token = reinterpret_cast<void*>(++last);
    return true;
}

void closeLogonToken(void*) noexcept { }

} // namespace kel
