#include <Quarn/platform/PrivateFolder_p.h>

#include <QDir>
#include <QFileInfo>

namespace kel {

FolderCreation createPrivateFolder(const QString& path)
{
    // The temporary folder, below the user's profile, is already closed to others.
    if (QDir().mkdir(path))
        return FolderCreation::Created;
    const QFileInfo info(path);
    return info.exists() || info.isSymLink() ? FolderCreation::Taken : FolderCreation::Failed;
}

} // namespace kel
