#ifndef QUARN_PLATFORM_OPENFILESTATE_P_H
#define QUARN_PLATFORM_OPENFILESTATE_P_H

#include <QtGlobal>

namespace kel {

/** What has become of an open file, under whatever name. */
struct OpenFileState
{
    bool isKnown = false; ///< the system told; the rest counts only then
    bool isRemoved = false; ///< it has no name any more
    qint64 size = 0;
};

OpenFileState openFileState(int file);

} // namespace kel
#endif
