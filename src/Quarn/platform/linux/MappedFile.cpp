#include <Quarn/platform/MappedFile_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/MappingGuard_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

namespace kel {
namespace {

/** What stands for the bytes of an empty file, which can't be mapped. */
const unsigned char nothing = 0;

/** Why the open file can't be mapped as a whole; 0 when it can. */
int obstacle(const FileDescriptor& file, const struct stat& status)
{
    if (S_ISDIR(status.st_mode))
        return EISDIR;
    if (!S_ISREG(status.st_mode))
        return ENODEV;
    if (quint64(std::size_t(status.st_size)) != quint64(status.st_size))
        return EFBIG;
    char byte;
    const ssize_t count = status.st_size == 0 ? ::pread(file.get(), &byte, 1, 0) : 0;
    return count == 0 ? 0 : count < 0 ? errno : ENODEV; // more than it says, as those of /proc
}

} // namespace

struct MappedFile::Mapping
{
    Mapping() = default;
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping()
    {
        guard.release(); // before others may get the addresses
        if (bytes)
            ::munmap(bytes, size);
    }

    /** 0, or why the file can't be mapped. */
    int map(std::size_t length)
    {
        if (length == 0)
            return 0;
        void* const begin = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, file.get(), 0);
        if (begin == MAP_FAILED)
            return errno;
        bytes = begin;
        size = length;
        guard.protect(bytes, size);
        return 0;
    }

    FileDescriptor file;
    MappingGuard guard;
    void* bytes = nullptr;
    std::size_t size = 0;
    mutable std::atomic<bool> cutShort{false};
};

MappedFile::MappedFile() = default;

MappedFile::~MappedFile() = default;

bool MappedFile::open(const QString& path, QString* reason)
{
    auto mapping = std::make_unique<Mapping>();
    // Without O_NONBLOCK the open of a pipe would wait for its writer.
    mapping->file = FileDescriptor(
        ::open(systemPath(path).constData(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status;
    int error = mapping->file.readStatus(status) ? obstacle(mapping->file, status) : errno;
    if (error == 0)
        error = mapping->map(std::size_t(status.st_size));
    if (error != 0)
        *reason = qt_error_string(error);
    else
        m_mapping = std::move(mapping);
    return error == 0;
}

bool MappedFile::isOpen() const
{
    return m_mapping != nullptr;
}

qint64 MappedFile::size() const
{
    return m_mapping ? qint64(m_mapping->size) : 0;
}

const unsigned char* MappedFile::bytes() const
{
    return size() > 0 ? static_cast<const unsigned char*>(m_mapping->bytes) : &nothing;
}

bool MappedFile::read(qint64 position, void* data, qint64 count) const
{
    std::memcpy(data, bytes() + position, std::size_t(count));
    return isIntact();
}

bool MappedFile::isIntact() const
{
    if (m_mapping->guard.hasBroken() || m_mapping->cutShort)
        return false;
    // The rest of the page where the file ends now is zeros without a fault.
    struct stat status;
    const bool whole
        = m_mapping->file.readStatus(status) && quint64(status.st_size) >= m_mapping->size;
    if (!whole)
        m_mapping->cutShort = true;
    return whole;
}

} // namespace kel
