#include <Quarn/platform/SpillFile_p.h>

#include <Quarn/platform/linux/FileDescriptor_p.h>
#include <Quarn/platform/linux/SystemCalls_p.h>
#include <Quarn/platform/linux/SystemPath_p.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>

namespace kel {
namespace {

QString reasonOf(int error)
{
    return QString::fromLocal8Bit(std::system_category().message(error).c_str());
}

/** A file that loses its name at once, for file systems that don't know files without one. */
int openUnlinked(QByteArray name)
{
    const int descriptor = ::mkostemp(name.data(), O_CLOEXEC); // for the owner only
    if (descriptor >= 0)
        ::unlink(name.constData());
    return descriptor;
}

/** Has \a call transfer it all; \a stopped is the error when it transfers nothing. */
template <typename Call, typename Bytes>
bool transfer(Call call, int file, qint64 position, Bytes data, qint64 size, int stopped,
              QString* reason)
{
    while (size > 0) {
        const ssize_t count
            = retried([&] { return call(file, data, std::size_t(size), position); });
        if (count <= 0) {
            *reason = reasonOf(count < 0 ? errno : stopped);
            return false;
        }
        position += count;
        data += count;
        size -= count;
    }
    return true;
}

} // namespace

struct SpillFile::Handle
{
    FileDescriptor file;
};

SpillFile::SpillFile() = default;
SpillFile::~SpillFile() = default;

bool SpillFile::isOpen() const
{
    return m_handle != nullptr;
}

bool SpillFile::open(const QString& folder, QString* reason)
{
    const QByteArray path = systemPath(folder);
    if (path.isEmpty()) { // or the fallback below would go to the root folder
        *reason = reasonOf(ENOENT);
        return false;
    }
    FileDescriptor file(
        ::open(path.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        file = FileDescriptor(openUnlinked(path + "/Quarn-XXXXXX"));
    if (!file.isOpen()) {
        *reason = reasonOf(errno);
        return false;
    }
    m_handle.reset(new Handle{std::move(file)});
    return true;
}

bool SpillFile::write(qint64 position, const char* data, qint64 size, QString* reason)
{
    return transfer(::pwrite, m_handle->file.get(), position, data, size, ENOSPC, reason);
}

bool SpillFile::read(qint64 position, char* data, qint64 size, QString* reason) const
{
    // Nobody shortens it but by force.
    return transfer(::pread, m_handle->file.get(), position, data, size, EIO, reason);
}

void SpillFile::release(qint64 position, qint64 size)
{
    (void)::fallocate(m_handle->file.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, position,
                      size);
}

} // namespace kel
