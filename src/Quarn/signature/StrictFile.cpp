#include <Quarn/signature/StrictFile_p.h>

#include <Quarn/companion/IOException.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/platform/RegularFile_p.h>

namespace kel {

StrictFile::StrictFile(const QString& path) : m_path(path), m_file(path)
{
    if (!openRegularFile(m_file))
        refuse();
    m_size = m_file.size();
}

int StrictFile::read(char* data, int wanted)
{
    const qint64 count = m_file.read(data, wanted);
    if (count < 0 || count > wanted)
        refuse();
    m_read += count;
    const bool changed = count == 0 ? m_read != m_size || m_file.size() != m_size : m_read > m_size;
    if (changed)
        refuse();
    return int(count);
}

QByteArray StrictFile::readAll(qint64 maxSize)
{
    if (m_size > maxSize || m_size != narrow(m_size))
        refuse();
    QByteArray contents(int(m_size), Qt::Uninitialized);
    char* const data = contents.data();
    char behind;
    while (read(m_read < m_size ? data + m_read : &behind,
                narrow(std::max(m_size - m_read, qint64(1)))))
        ;
    return contents;
}

void StrictFile::refuse() const
{
    throw IOException(QStringLiteral("Could not read ") + m_path);
}

} // namespace kel
