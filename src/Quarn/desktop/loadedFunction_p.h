#ifndef QUARN_DESKTOP_LOADEDFUNCTION_P_H
#define QUARN_DESKTOP_LOADEDFUNCTION_P_H

#include <QLibrary>

namespace kel {

/**
 * The function \a name of the desktop library, which is loaded from beside the main library or a
 * folder there when that has not happened yet and then stays until the process ends. Null, after a
 * warning in the log, when there is no such library or function; the next call tries again.
 */
QFunctionPointer loadedFunction(const char* name);

} // namespace kel
#endif
