#include <Quarn/companion/deviceFailure_p.h>

#include <QCoreApplication>

namespace kel {

bool isDeviceFailure(const QString& errorString)
{
    return !errorString.isEmpty()
           && errorString != QCoreApplication::translate("QIODevice", "Unknown error");
}

} // namespace kel
