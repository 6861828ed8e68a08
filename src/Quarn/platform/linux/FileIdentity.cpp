#include <Quarn/platform/FileIdentity_p.h>

#include <Quarn/platform/linux/SystemPath_p.h>

#include <sys/stat.h>

namespace kel {

QByteArray fileIdentity(const QString& path)
{
    struct stat status;
    if (::stat(systemPath(path).constData(), &status) != 0)
        return QByteArray();
    return QByteArray::number(qulonglong(status.st_dev)) + ':'
           + QByteArray::number(qulonglong(status.st_ino));
}

} // namespace kel
