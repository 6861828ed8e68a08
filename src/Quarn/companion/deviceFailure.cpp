#include <Quarn/companion/deviceFailure_p.h>

#include <QCoreApplication>
#include <QIODevice>

#include <new>

namespace kel {

bool isDeviceFailure(const QString& errorString) noexcept
{
    try {
        return !errorString.isEmpty()
               && errorString != QCoreApplication::translate("QIODevice", "Unknown error");
    } catch (const std::bad_alloc&) {
        return true;
    }
}

bool tellsOfFailure(const QIODevice& device) noexcept
{
    try {
        return isDeviceFailure(device.errorString());
    } catch (const std::bad_alloc&) {
        return false; // memory is needed for the default text alone
    }
}

} // namespace kel
