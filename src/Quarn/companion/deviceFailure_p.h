#ifndef QUARN_COMPANION_DEVICEFAILURE_P_H
#define QUARN_COMPANION_DEVICEFAILURE_P_H

#include <QString>

class QIODevice;

namespace kel {

/**
 * Whether \a errorString, from QIODevice::errorString(), tells of a failure: an empty text and
 * the translated "Unknown error", which a device reports while nothing was set, don't. Without
 * memory for the translation any other text does.
 */
bool isDeviceFailure(const QString& errorString) noexcept;

/** The same of the text that \a device has. */
bool tellsOfFailure(const QIODevice& device) noexcept;

} // namespace kel
#endif
