#ifndef QUARN_PLATFORM_WINDOWS_SYSTEMPATH_P_H
#define QUARN_PLATFORM_WINDOWS_SYSTEMPATH_P_H

#include <string>

class QString;

namespace kel {

/**
 * \a path for the system: absolute, and in the form that may have any length. It means what Qt makes
 * of it: dots and spaces at the end of a name don't count, and a name such as "con" is a device.
 * What stands behind a backslash that is appended is taken as it is, these names too. Empty, which
 * names nothing, for a path that has no such form.
 */
std::wstring systemPath(const QString& path);

/** A name, or a path for the shell, which takes none of that form: with backslashes; empty as above. */
std::wstring shellPath(const QString& path);

} // namespace kel
#endif
