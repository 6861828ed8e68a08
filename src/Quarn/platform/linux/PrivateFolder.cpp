#include <Quarn/platform/PrivateFolder_p.h>

#include <QFile>

#include <cerrno>
#include <sys/stat.h>

namespace kel {

FolderCreation createPrivateFolder(const QString& path)
{
    if (::mkdir(QFile::encodeName(path).constData(), S_IRWXU) == 0)
        return FolderCreation::Created;
    return errno == EEXIST ? FolderCreation::Taken : FolderCreation::Failed;
}

} // namespace kel
