// Whole files and devices as text and bytes, written and read again.
#include "Input.h"

#include "support/TemporaryFolder.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QBuffer>
#include <QDir>

using kel::FileUtils;

namespace {

QString readFrom(QByteArray bytes)
{
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    return FileUtils::readText(&device);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const TemporaryFolder folder;
    const QString path = folder.at("file");
    const QByteArray bytes = Input(data, size).rest();

    require(FileUtils::writeBytes(bytes, path) == bytes.size(), "all is written");
    const bool returns = QDir::separator() != QLatin1Char('/'); // are added where they are usual
    require(folder.contents("file") == QByteArray(bytes).replace('\n', returns ? "\r\n" : "\n"),
            "as it is");
    require(FileUtils::readBytes(path) == QByteArray(bytes).replace('\r', ""), "without returns");
    const QString fromFile = FileUtils::readText(path);
    require(fromFile == readFrom(folder.contents("file")).remove(QLatin1Char('\r')),
            "a file's text is a device's");
    require(FileUtils::equalsText(path, fromFile), "a text equals itself");

    const QString text = readFrom(bytes);
    QByteArray written;
    QBuffer device(&written);
    device.open(QIODevice::ReadWrite);
    FileUtils::copyText(text, &device);
    // A mark in front is of the encoding, and not of the text; half a pair is no character.
    const bool loses = text.startsWith(QChar(QChar::ByteOrderMark)) || !text.isValidUtf16();
    device.seek(0);
    require(loses || FileUtils::equalsText(&device, text), "the text is what was written");

    FileUtils::comment(path, text);
    const QString comment = FileUtils::comment(path);
    require(loses || comment == text.left(text.indexOf(QChar(u'\0'))) || comment.isEmpty(),
            "comment");
    return 0;
}
