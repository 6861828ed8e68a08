#include <Quarn/companion/FileException.h>

#include <QFileInfo>

namespace kel {

FileException::FileException(const QFile& file)
    : IOException(file.errorString()), m_fileName(file.fileName()), m_error(file.error())
{ }

FileException::FileException(const QFileInfo& info, QFile::FileError error, const QString& message,
                             const ExceptionQt* cause)
    : IOException(message, cause), m_fileName(info.filePath()), m_error(error)
{ }

FileException::FileException(const FileException& other) = default;

FileException& FileException::operator=(const FileException& other) = default;

FileException::~FileException() = default;

QString FileException::fileName() const
{
    return m_fileName;
}

QFile::FileError FileException::error() const
{
    return m_error;
}

ExceptionQt* FileException::clone() const
{
    return new FileException(*this);
}

void FileException::printMessage(QTextStream& stream) const
{
    stream << m_fileName << QStringLiteral(": ");
    IOException::printMessage(stream);
}

} // namespace kel
