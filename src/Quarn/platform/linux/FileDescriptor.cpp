#include <Quarn/platform/linux/FileDescriptor_p.h>

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

} // namespace kel
