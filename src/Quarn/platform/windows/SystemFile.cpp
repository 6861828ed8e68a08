#include <Quarn/platform/SystemFile_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QCoreApplication>
#include <QFile>

#include <new>

#include <io.h>
#include <windows.h>

namespace kel {
namespace {

using Outcome = SystemFile::Outcome;

Outcome failure(QFileDevice::FileError error, const QString& text, qint64 count = 0)
{
    return Outcome{count, error, text};
}

} // namespace

struct SystemFile::Handle
{
    QFile file;

    Outcome failed(QFileDevice::FileError otherwise, qint64 count = 0) const
    {
        const QFileDevice::FileError error = file.error();
        return failure(error == QFileDevice::NoError ? otherwise : error, file.errorString(),
                       count);
    }
};

SystemFile::SystemFile() : m_handle(std::make_unique<Handle>()) { }

SystemFile::~SystemFile() = default;

bool SystemFile::isOpen() const
{
    return m_handle->file.isOpen();
}

bool SystemFile::joinsWrites() const
{
    return !m_handle->file.isSequential();
}

Outcome SystemFile::open(const QString& path, QIODevice::OpenMode mode, Wait&)
{
    if (mode & QIODevice::Text || !hasSystemForm(path))
        return failure(QFileDevice::OpenError, qt_error_string(ERROR_INVALID_PARAMETER));
    m_handle->file.setFileName(path);
    if (!m_handle->file.open(mode | QIODevice::Unbuffered))
        return m_handle->failed(QFileDevice::OpenError);
    return Outcome();
}

Outcome SystemFile::read(char* target, qint64 size, Wait&)
{
    if (!m_handle->file.isReadable()) // which Qt would warn of
        return failure(QFileDevice::ReadError, qt_error_string(ERROR_ACCESS_DENIED));
    m_handle->file.unsetError();
    qint64 count = 0;
    while (count < size) {
        const qint64 got = m_handle->file.read(target + count, size - count);
        if (got < 0)
            return m_handle->failed(QFileDevice::ReadError, count);
        if (got == 0)
            break;
        count += got;
    }
    return Outcome{count, QFileDevice::NoError, QString()};
}

Outcome SystemFile::write(const char* data, qint64 size, Wait&)
{
    qint64 count = 0;
    try {
        if (!m_handle->file.isWritable())
            return failure(QFileDevice::WriteError, qt_error_string(ERROR_ACCESS_DENIED));
        m_handle->file.unsetError();
        while (count < size) {
            const qint64 taken = m_handle->file.write(data + count, size - count);
            if (taken <= 0)
                return m_handle->failed(QFileDevice::WriteError, count);
            count += taken;
        }
    } catch (const std::bad_alloc&) { // for the text; what is written counts all the same
        return failure(QFileDevice::WriteError, QStringLiteral("Unknown error"), count);
    }
    return Outcome{count, QFileDevice::NoError, QString()};
}

Outcome SystemFile::seek(qint64 position)
{
    m_handle->file.unsetError();
    if (!m_handle->file.seek(position))
        return m_handle->failed(QFileDevice::PositionError);
    return Outcome{position, QFileDevice::NoError, QString()};
}

Outcome SystemFile::flush()
{
    // Names need no flush of their own: the file system keeps a journal of them.
    const auto handle = reinterpret_cast<HANDLE>(::_get_osfhandle(m_handle->file.handle()));
    if (m_handle->file.openMode() & QIODevice::WriteOnly && !::FlushFileBuffers(handle)
        && ::GetLastError() != ERROR_INVALID_FUNCTION)
        return failure(QFileDevice::WriteError, qt_error_string());
    return Outcome();
}

Outcome SystemFile::close()
{
    m_handle->file.unsetError();
    m_handle->file.close();
    if (m_handle->file.error() != QFileDevice::NoError)
        return m_handle->failed(QFileDevice::WriteError);
    return Outcome();
}

qint64 SystemFile::remaining() const
{
    return m_handle->file.isSequential() ? 0 : m_handle->file.bytesAvailable();
}

} // namespace kel
