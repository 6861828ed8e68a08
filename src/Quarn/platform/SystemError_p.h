#ifndef QUARN_PLATFORM_SYSTEMERROR_P_H
#define QUARN_PLATFORM_SYSTEMERROR_P_H

namespace kel {

/** Error codes of the system, errno or GetLastError(), which qt_error_string() puts into words. */
namespace systemError {

constexpr int none = 0;
extern const int notThere;
extern const int alreadyThere;
extern const int isFolder; ///< where something else is needed
extern const int isNoFolder; ///< where one is needed
extern const int intoItself; ///< a folder is to be copied into itself
extern const int changed; ///< by somebody else meanwhile
extern const int notSupported;
extern const int notPermitted; ///< as for the root of a file system
extern const int noRoom;

/** Whether nothing more can be written, for lack of room or quota. */
bool isNoRoom(int error);

/** Whether a rename would have to move the contents to another file system. */
bool isOtherFileSystem(int error);

} // namespace systemError
} // namespace kel
#endif
