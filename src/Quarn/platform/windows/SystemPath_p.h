#ifndef QUARN_PLATFORM_WINDOWS_SYSTEMPATH_P_H
#define QUARN_PLATFORM_WINDOWS_SYSTEMPATH_P_H

#include <string>

class QString;

namespace kel {

/**
 * \a path for the system, with backslashes; empty, which names nothing, for one that has no such
 * form.
 */
std::wstring systemPath(const QString& path);

/** \a path, which is absolute, in the form in which the system takes one of any length. */
std::wstring longSystemPath(const QString& path);

} // namespace kel
#endif
