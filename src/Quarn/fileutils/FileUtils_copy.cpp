#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/platform/FileIdentity_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QFile>
#include <QIODevice>

#include <algorithm>
#include <memory>

namespace kel {
namespace {

constexpr qint64 chunkSize = 16384;

/** Writes as much of \a data as \a target takes; the number of bytes that it took. */
qint64 writeChunk(QIODevice* target, const char* data, qint64 size)
{
    qint64 written = 0;
    while (written < size && target->isWritable()) {
        const qint64 accepted = target->write(data + written, size - written);
        if (accepted <= 0 || accepted > size - written)
            break;
        written += accepted;
    }
    return written;
}

/** After a read of nothing: whether the source is worth another one. */
bool mayDeliverMore(QIODevice* source, int waitMsecs)
{
    return !source->atEnd() && (waitMsecs <= 0 || source->waitForReadyRead(waitMsecs));
}

/** Of \a count bytes written, those that are no longer in the buffer of \a target. */
qint64 flushed(QFile& target, qint64 count)
{
    return target.flush() ? count : std::max<qint64>(0, count - target.bytesToWrite());
}

void open(QFile& file, QIODevice::OpenMode mode)
{
    if (hasSystemForm(file.fileName()))
        file.open(mode | QIODevice::Text);
}

} // namespace

qint64 FileUtils::copy(QIODevice* source, QIODevice* target, qint64 maxBytes, int waitMsecs)
{
    if (maxBytes <= 0)
        return 0;
    const qint64 bufferSize = std::min(maxBytes, chunkSize);
    const std::unique_ptr<char[]> buffer(new char[size_t(bufferSize)]);
    qint64 count = 0;
    while (count < maxBytes && !source->atEnd()) {
        const qint64 wanted = std::min(bufferSize, maxBytes - count);
        const qint64 read = source->read(buffer.get(), wanted);
        if (read < 0 || read > wanted)
            break;
        if (read == 0) {
            if (!mayDeliverMore(source, waitMsecs))
                break;
            continue;
        }
        const qint64 written = writeChunk(target, buffer.get(), read);
        count += written;
        if (written < read)
            break;
    }
    return count;
}

qint64 FileUtils::copy(QIODevice* source, const QString& target, qint64 maxBytes, int waitMsecs)
{
    QFile targetFile(target);
    open(targetFile, QIODevice::WriteOnly);
    return flushed(targetFile, copy(source, &targetFile, maxBytes, waitMsecs));
}

qint64 FileUtils::copy(const QString& source, QIODevice* target, qint64 maxBytes, int waitMsecs)
{
    QFile sourceFile(source);
    open(sourceFile, QIODevice::ReadOnly);
    return copy(&sourceFile, target, maxBytes, waitMsecs);
}

qint64 FileUtils::copy(const QString& source, const QString& target, qint64 maxBytes, int waitMsecs)
{
    // Opening a file as its own target would empty it.
    const QByteArray identity = fileIdentity(source);
    if (!identity.isEmpty() && identity == fileIdentity(target))
        return 0;
    QFile targetFile(target);
    QFile sourceFile(source);
    open(sourceFile, QIODevice::ReadOnly);
    open(targetFile, QIODevice::WriteOnly);
    const qint64 count = copy(&sourceFile, &targetFile, maxBytes, waitMsecs);
    sourceFile.close();
    return flushed(targetFile, count);
}

} // namespace kel
