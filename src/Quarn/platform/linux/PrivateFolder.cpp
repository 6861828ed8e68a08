#include <Quarn/platform/PrivateFolder_p.h>

#include <Quarn/platform/linux/SystemPath_p.h>

#include <cerrno>
#include <sys/stat.h>

namespace kel {

FolderCreation createPrivateFolder(const QString& path)
{
    if (::mkdir(systemPath(path).constData(), S_IRWXU) == 0)
        return FolderCreation::Created;
    return errno == EEXIST ? FolderCreation::Taken : FolderCreation::Failed;
}

} // namespace kel
