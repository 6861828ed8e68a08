#ifndef QUARN_PLATFORM_LIBRARYFOLDER_P_H
#define QUARN_PLATFORM_LIBRARYFOLDER_P_H

#include <QString>

namespace kel {

/**
 * The absolute path, without a slash at its end, of the folder that the library with this code was
 * loaded from. It holds also after the program changed its working folder.
 */
QString libraryFolder();

} // namespace kel
#endif
