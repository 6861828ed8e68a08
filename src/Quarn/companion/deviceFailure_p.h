#ifndef QUARN_COMPANION_DEVICEFAILURE_P_H
#define QUARN_COMPANION_DEVICEFAILURE_P_H

#include <QString>

namespace kel {

/**
 * Whether \a errorString, from QIODevice::errorString(), tells of a failure: an empty text and
 * the translated "Unknown error", which a device reports while nothing was set, don't.
 */
bool isDeviceFailure(const QString& errorString);

} // namespace kel
#endif
