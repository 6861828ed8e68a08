#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/companion/FileException.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/module/commentStreamSuffix.h>
#include <Quarn/platform/FileComment_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QTextStream>

#include <algorithm>
#include <limits>

namespace kel {
namespace {

void openOrThrow(QFile& file, QIODevice::OpenMode mode)
{
    if (!hasSystemForm(file.fileName()))
        throw FileException(QFileInfo(file), QFile::OpenError, QStringLiteral("zero in the path"));
    if (!file.open(mode))
        throw FileException(file);
}

/** A device that fails halfway looks like one that ended; the file knows better. */
void throwIfFailed(const QFile& file)
{
    if (file.error() != QFileDevice::NoError)
        throw FileException(file);
}

/**
 * Everything in \a file, read until there is nothing more: a read that a failure cuts short looks
 * like the last one, and only the next one tells.
 */
QByteArray readToEnd(QFile& file)
{
    using Size = decltype(QByteArray().size()); // not the same in Qt 5 and Qt 6
    constexpr qint64 most = std::numeric_limits<Size>::max() - 64; // Qt's header goes off
    const qint64 expected = file.size() > 0 ? file.size() + 1 : 16384; // not every file has a size
    QByteArray bytes;
    qint64 size = 0;
    for (;;) {
        if (size == bytes.size()) {
            if (size == most || expected > most)
                throw FileException(QFileInfo(file), QFile::ResourceError,
                                    QStringLiteral("file is too large"));
            bytes.resize(Size(std::min(std::max(expected, 2 * size), most)));
        }
        const qint64 count = file.read(bytes.data() + size, bytes.size() - size);
        if (count < 0)
            throw FileException(file);
        if (count == 0)
            break;
        size += count;
    }
    bytes.resize(Size(size));
    return bytes;
}

/** Writes all of \a bytes as long as \a device takes any. */
void writeToEnd(QIODevice* device, const QByteArray& bytes)
{
    qint64 written = 0;
    while (written < bytes.size()) {
        // A short count comes without an error; only the next attempt tells the reason.
        const qint64 count = device->write(bytes.constData() + written, bytes.size() - written);
        if (count <= 0)
            break;
        written += count;
    }
    auto* const file = qobject_cast<QFileDevice*>(device);
    if (file && !file->flush() && file->error() == QFileDevice::NoError)
        file->flush();
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
    openOrThrow(file, QIODevice::ReadOnly | QIODevice::Text);
    const QString text = readText(&file);
    throwIfFailed(file);
    return text;
}

void FileUtils::copyText(const QString& text, QIODevice* device)
{
    QByteArray bytes;
    QTextStream(&bytes, QIODevice::WriteOnly) << text;
    writeToEnd(device, bytes);
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
    // What the text mode does to lines is done here: in it, a read of carriage returns alone answers
    // nothing, as at the end.
    openOrThrow(file, QIODevice::ReadOnly | QIODevice::Unbuffered);
    QByteArray bytes = readToEnd(file);
    const auto end = std::remove(bytes.begin(), bytes.end(), '\r');
    bytes.resize(decltype(bytes.size())(end - bytes.begin()));
    return bytes;
}

int FileUtils::writeBytes(const QByteArray& data, const QString& path)
{
    QFile file(path);
    // Cut first: whatever fails afterwards, no old tail stays behind new bytes.
    openOrThrow(file, QIODevice::ReadWrite | QIODevice::Text | QIODevice::Truncate);
    if (file.size() > 0 && !file.resize(0)) // not every system's opening tells
        throw FileException(file);
    const qint64 written = file.write(data);
    const bool flushed = file.flush();
    file.close(); // some file systems report a full disk as late as here
    const bool complete = written == data.size() && flushed && file.error() == QFileDevice::NoError;
    return complete ? narrow(written) : -1;
}

QString FileUtils::comment(const QString& path)
{
    return QString::fromUtf8(
        fileComment(path, commentStreamSuffix).constData()); // up to the first zero byte
}

void FileUtils::comment(const QString& path, const QString& text)
{
    setFileComment(path, text, commentStreamSuffix);
}

} // namespace kel
