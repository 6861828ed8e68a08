#include <Quarn/platform/linux/SystemPath_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QFile>

namespace kel {

QByteArray systemPath(const QString& path)
{
    return hasSystemForm(path) ? QFile::encodeName(path) : QByteArray();
}

} // namespace kel
