#include <Quarn/platform/FileIdentity_p.h>

#include <QFile>
#include <QString>

#include <sys/stat.h>

namespace kel {

QByteArray fileIdentity(const QString& path)
{
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return QByteArray();
    return QByteArray::number(qulonglong(status.st_dev)) + ':'
           + QByteArray::number(qulonglong(status.st_ino));
}

} // namespace kel
