#include <Quarn/platform/linux/FileDescriptor_p.h>

#include <sys/stat.h>

#include <cerrno>

namespace kel {

FileDescriptor::~FileDescriptor()
{
    if (m_descriptor < 0)
        return;
    const int error = errno;
    ::close(m_descriptor);
    errno = error;
}

bool FileDescriptor::readStatus(struct stat& status) const
{
    return isOpen() && ::fstat(m_descriptor, &status) == 0;
}

} // namespace kel
