#include <Quarn/streams/MappedFileStream.h>

#include <Quarn/platform/MappedFile_p.h>

#include <algorithm>

namespace kel {

MappedFileStream::MappedFileStream(const QString& path)
    : m_file(std::make_unique<MappedFile>()), m_path(path), m_position(0), m_misplaced(false)
{
    m_file->open(path, &m_openFailure);
}

MappedFileStream::~MappedFileStream() = default;

bool MappedFileStream::isOpen() const
{
    return m_file->isOpen();
}

QString MappedFileStream::failureText() const
{
    const QString reason = isOpen() && !m_file->isIntact()
                               ? QStringLiteral("The file was cut short or could not be read")
                               : m_openFailure;
    return reason.isEmpty() ? reason : m_path + QStringLiteral(": ") + reason;
}

const unsigned char* MappedFileStream::data(qint64 position, qint64 size) const
{
    const bool inside = position >= 0 && size >= 0 && position <= m_file->size() - size;
    return inside && isOpen() && m_file->isIntact() ? m_file->bytes() + position : nullptr;
}

int MappedFileStream::read(void* data, int maxSize)
{
    if (maxSize <= 0)
        return 0;
    if (!isOpen() || m_misplaced)
        return -1;
    const int count = int(std::min<qint64>(maxSize, m_file->size() - m_position));
    if (!m_file->read(m_position, data, count))
        return -1;
    m_position += count;
    return count;
}

bool MappedFileStream::readable()
{
    return isOpen();
}

bool MappedFileStream::ioFailureDetected() const
{
    return !isOpen() || m_misplaced || !m_file->isIntact();
}

qint64 MappedFileStream::position() const
{
    return m_position;
}

bool MappedFileStream::setPosition(qint64 position)
{
    m_misplaced = position < 0 || position > m_file->size();
    if (!m_misplaced)
        m_position = position;
    return !m_misplaced;
}

qint64 MappedFileStream::streamSize() const
{
    return m_file->size();
}

} // namespace kel
