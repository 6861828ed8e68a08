#include <Quarn/platform/MappedFile_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <windows.h>

#include <atomic>

namespace kel {
namespace {

/** What stands for the bytes of an empty file, which can't be mapped. */
const unsigned char nothing = 0;

} // namespace

struct MappedFile::Mapping
{
    mutable QMutex mutex; // guards the position of the file
    mutable QFile file;
    const unsigned char* bytes = &nothing;
    qint64 size = 0;
    mutable std::atomic<bool> intact{true}; // what is mapped can't be cut short here
};

MappedFile::MappedFile() = default;

MappedFile::~MappedFile() = default;

bool MappedFile::open(const QString& path, QString* reason)
{
    auto mapping = std::make_unique<Mapping>();
    mapping->file.setFileName(path);
    if (!hasSystemForm(path) || !QFileInfo(path).isFile()) {
        *reason = qt_error_string(hasSystemForm(path) && QFileInfo(path).isDir()
                                      ? ERROR_ACCESS_DENIED
                                      : ERROR_FILE_NOT_FOUND);
        return false;
    }
    bool mapped = mapping->file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    mapping->size = mapped ? mapping->file.size() : 0;
    if (mapping->size > 0) {
        mapping->bytes = mapping->file.map(0, mapping->size);
        mapped = mapping->bytes != nullptr;
    }
    if (mapped)
        m_mapping = std::move(mapping);
    else
        *reason = mapping->file.errorString();
    return mapped;
}

bool MappedFile::isOpen() const
{
    return m_mapping != nullptr;
}

qint64 MappedFile::size() const
{
    return m_mapping ? m_mapping->size : 0;
}

const unsigned char* MappedFile::bytes() const
{
    return m_mapping ? m_mapping->bytes : &nothing;
}

/** By the file's own read, which fails where touching the memory of a lost network file would end. */
bool MappedFile::read(qint64 position, void* data, qint64 count) const
{
    const QMutexLocker locker(&m_mapping->mutex);
    QFile& file = m_mapping->file;
    if (!m_mapping->intact || !file.seek(position)
        || file.read(static_cast<char*>(data), count) != count)
        m_mapping->intact = false;
    return m_mapping->intact;
}

bool MappedFile::isIntact() const
{
    return m_mapping->intact;
}

} // namespace kel
