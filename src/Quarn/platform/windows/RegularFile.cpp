#include <Quarn/platform/RegularFile_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QFile>
#include <QFileInfo>

namespace kel {

bool openRegularFile(QFile& file)
{
    return hasSystemForm(file.fileName()) && QFileInfo(file.fileName()).isFile()
           && file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

} // namespace kel
