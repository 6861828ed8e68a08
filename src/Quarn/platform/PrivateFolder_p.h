#ifndef QUARN_PLATFORM_PRIVATEFOLDER_P_H
#define QUARN_PLATFORM_PRIVATEFOLDER_P_H

#include <QString>

namespace kel {

enum class FolderCreation {
    Created,
    Taken, ///< something has this name, if only a link to nowhere
    Failed
};

/**
 * Creates the folder at \a path, whose parent has to exist, in one step: of any number of threads
 * and processes one creates it, and for the others it is taken. Where the system has permissions
 * of this kind, only its owner can enter it.
 */
FolderCreation createPrivateFolder(const QString& path);

} // namespace kel
#endif
