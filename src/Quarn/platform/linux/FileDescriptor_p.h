#ifndef QUARN_PLATFORM_LINUX_FILEDESCRIPTOR_P_H
#define QUARN_PLATFORM_LINUX_FILEDESCRIPTOR_P_H

#include <unistd.h>

#include <utility>

struct stat;

namespace kel {

/** Owns an open file descriptor; -1 stands for none. Closing keeps errno as it is. */
class FileDescriptor
{
public:
    explicit FileDescriptor(int descriptor = -1) : m_descriptor(descriptor) { }
    FileDescriptor(FileDescriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    { }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~FileDescriptor();

    bool isOpen() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }
    /** What fstat() tells; if there is no descriptor, errno stays as the attempt to get one left it. */
    bool readStatus(struct stat& status) const;
    int release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};

} // namespace kel
#endif
