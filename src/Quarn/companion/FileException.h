#ifndef QUARN_COMPANION_FILEEXCEPTION_H
#define QUARN_COMPANION_FILEEXCEPTION_H

#include <Quarn/companion/IOException.h>

#include <QFile>

class QFileInfo;

namespace kel {

/**
 * A failure at a file, with the file's name; what() reads "<class name>: <file>: <message>".
 *
 * \par Threads
 * Those of Exception.
 */
class QUARN_EXPORT FileException : public IOException
{
public:
    /** The failure that \a file has recorded; the message is the system's reason. */
    explicit FileException(const QFile& file);
    /** A failure found without opening the file; \a cause is copied, null for none. */
    FileException(const QFileInfo& info, QFile::FileError error, const QString& message,
                  const ExceptionQt* cause = nullptr);
    FileException(const FileException& other);
    FileException& operator=(const FileException& other);
    ~FileException() override;

    /** The file's path as its user gave it. */
    QString fileName() const;

    /** The kind of failure, as QFile::error() tells it. */
    QFile::FileError error() const;

protected:
    ExceptionQt* clone() const override;
    void printMessage(QTextStream& stream) const override;

private:
    QString m_fileName;
    QFile::FileError m_error;
};

} // namespace kel
#endif
