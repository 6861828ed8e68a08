#ifndef QUARN_PLATFORM_LINUX_FREERENAME_P_H
#define QUARN_PLATFORM_LINUX_FREERENAME_P_H

namespace kel {

/**
 * Renames the entry \a from of one open folder to \a to in another, but never over something that
 * is there.
 *
 * \return 0 or the error number, EEXIST when the name is taken
 */
int renameToFreeName(int fromFolder, const char* from, int toFolder, const char* to);

} // namespace kel
#endif
