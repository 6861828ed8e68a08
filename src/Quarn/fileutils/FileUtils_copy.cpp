#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/platform/SystemPath_p.h>
#include <Quarn/platform/TargetFile_p.h>

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

void openSource(QFile& source)
{
    if (hasSystemForm(source.fileName()))
        source.open(QIODevice::ReadOnly | QIODevice::Text);
}

/** Leaves \a target closed when it is the file of \a source, so that the copy ends at once. */
void openForCopy(QFile& target, const QIODevice* source)
{
    openTarget(target, QIODevice::WriteOnly | QIODevice::Text,
               qobject_cast<const QFileDevice*>(source));
}

/** Closes \a target. Of \a count bytes written, those that the system has taken. */
qint64 closed(QFile& target, qint64 count)
{
    if (!target.isOpen())
        return count;
    const qint64 left = target.flush() ? 0 : target.bytesToWrite();
    target.close();
    if (left == 0 && target.error() != QFileDevice::NoError)
        return 0; // some file systems tell of a full disk as late as here, but not of how much
    return std::max<qint64>(0, count - left);
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
    openForCopy(targetFile, source);
    return closed(targetFile, copy(source, &targetFile, maxBytes, waitMsecs));
}

qint64 FileUtils::copy(const QString& source, QIODevice* target, qint64 maxBytes, int waitMsecs)
{
    QFile sourceFile(source);
    openSource(sourceFile);
    return copy(&sourceFile, target, maxBytes, waitMsecs);
}

qint64 FileUtils::copy(const QString& source, const QString& target, qint64 maxBytes, int waitMsecs)
{
    QFile targetFile(target);
    QFile sourceFile(source);
    openSource(sourceFile);
    openForCopy(targetFile, &sourceFile);
    const qint64 count = copy(&sourceFile, &targetFile, maxBytes, waitMsecs);
    sourceFile.close();
    return closed(targetFile, count);
}

} // namespace kel
