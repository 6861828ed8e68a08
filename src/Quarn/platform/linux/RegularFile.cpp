#include <Quarn/platform/RegularFile_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>

namespace kel {

bool openRegularFile(QFile& file)
{
    const QIODevice::OpenMode mode = QIODevice::ReadOnly | QIODevice::Unbuffered;
    const QFileInfo info(file.fileName());
    if (!info.isNativePath())
        return info.isFile() && file.open(mode);
    // Without O_NONBLOCK the open of a pipe would wait for its writer.
    FileDescriptor descriptor(::open(systemPath(info.filePath()).constData(),
                                     O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status = {};
    if (!descriptor.readStatus(status) || !S_ISREG(status.st_mode)
        || !file.open(descriptor.get(), mode, QFileDevice::AutoCloseHandle))
        return false;
    descriptor.release();
    return true;
}

} // namespace kel
