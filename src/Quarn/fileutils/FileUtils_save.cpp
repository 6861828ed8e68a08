#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/platform/FileReplacement_p.h>

namespace kel {

void FileUtils::saveBytes(const QByteArray& data, const QString& path)
{
    const FileReplacement::Failure failure = FileReplacement::replaceContents(path, data);
    if (failure.error != QFileDevice::NoError)
        throw FileException(QFileInfo(path), failure.error, failure.message());
}

void FileUtils::saveText(const QString& text, const QString& path)
{
    if (!text.isValidUtf16())
        throw FileException(QFileInfo(path), QFile::WriteError,
                            QStringLiteral("could not be written: half a character in the text"));
    saveBytes(text.toUtf8(), path);
}

} // namespace kel
