#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/companion/FileException.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/platform/FileComment_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QTextStream>

namespace kel {
namespace {

void openOrThrow(QFile& file, QIODevice::OpenMode mode)
{
    if (!hasSystemForm(file.fileName()))
        throw FileException(QFileInfo(file), QFile::OpenError, QStringLiteral("zero in the path"));
    if (!file.open(mode | QIODevice::Text))
        throw FileException(file);
}

/** A device that fails halfway looks like one that ended; the file knows better. */
void throwIfFailed(const QFile& file)
{
    if (file.error() != QFileDevice::NoError)
        throw FileException(file);
}

} // namespace

QString FileUtils::readText(QIODevice* device)
{
    QTextStream stream(device);
    const QString text = stream.readAll();
    if (stream.status() != QTextStream::Ok)
        throw IOException(stream.status());
    return text;
}

QString FileUtils::readText(const QString& path)
{
    QFile file(path);
    openOrThrow(file, QIODevice::ReadOnly);
    const QString text = readText(&file);
    throwIfFailed(file);
    return text;
}

void FileUtils::copyText(const QString& text, QIODevice* device)
{
    QTextStream stream(device);
    stream << text;
    stream.flush();
}

bool FileUtils::equalsText(QIODevice* device, const QString& text)
{
    return readText(device) == text;
}

bool FileUtils::equalsText(const QString& path, const QString& text)
{
    return readText(path) == text;
}

QByteArray FileUtils::readBytes(const QString& path)
{
    QFile file(path);
    openOrThrow(file, QIODevice::ReadOnly);
    const QByteArray bytes = file.readAll();
    throwIfFailed(file);
    return bytes;
}

int FileUtils::writeBytes(const QByteArray& data, const QString& path)
{
    QFile file(path);
    openOrThrow(file, QIODevice::ReadWrite);
    // Cut first: whatever fails afterwards, no old tail stays behind new bytes.
    if (file.size() > 0 && !file.resize(0))
        return -1;
    const qint64 written = file.write(data);
    const bool flushed = file.flush();
    file.close(); // some file systems report a full disk as late as here
    const bool complete = written == data.size() && flushed && file.error() == QFileDevice::NoError;
    return complete ? narrow(written) : -1;
}

QString FileUtils::comment(const QString& path)
{
    return QString::fromUtf8(fileComment(path).constData()); // up to the first zero byte
}

void FileUtils::comment(const QString& path, const QString& text)
{
    setFileComment(path, text);
}

} // namespace kel
