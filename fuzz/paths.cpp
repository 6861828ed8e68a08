// Paths and names: what their parts are, put together again.
#include "Input.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QRegularExpression>

#include <algorithm>

using kel::FileUtils;

namespace {

bool isSeparator(QChar character)
{
    return character == QLatin1Char('/') || character == QLatin1Char('\\');
}

void checkExtension(const QString& path, const QString& other)
{
    const QString stem = FileUtils::stripExtension(path);
    const QString extension = FileUtils::extension(path);
    require(path == stem ? extension.isEmpty() : path == stem + QLatin1Char('.') + extension,
            "stem and extension are the path");
    require(std::none_of(extension.begin(), extension.end(), isSeparator), "no separator");
    const QString replaced = FileUtils::replaceExtension(path, other);
    require(replaced == (other.isEmpty() ? stem : stem + QLatin1Char('.') + other), "replaced");
}

void checkNative(const QString& path)
{
    QString native = FileUtils::nativePath(path);
    require(native.size() == path.size() && !native.contains(QLatin1Char('/')), "native path");
    require(FileUtils::nativePath(path, QStringList()) == native, "in no folder");
    require(!FileUtils::nativePath(path, QStringLiteral(";/;:")).isNull(), "in some folders");

    static const QRegularExpression unsafe(QStringLiteral("[^][A-Za-z0-9,.'!#$%&(){}+=^_~@-]"),
                                           QRegularExpression::DontCaptureOption);
    QString safe;
    for (const QChar character : path)
        safe += unsafe.match(QString(character)).hasMatch() || character.isSurrogate()
                    ? QLatin1Char('_')
                    : character;
    require(FileUtils::nativeFileName(path) == safe, "safe name");
}

void checkSafe(const QString& name)
{
    static const QRegularExpression unsafe(
        QStringLiteral(
            "\\A\\z|[.\\s]\\z|[/\\\\:<>\"|?*\\x{00}-\\x{1f}\\x{7f}-\\x{9f}\\x{2028}-\\x{202e}"
            "\\x{61c}\\x{200e}\\x{200f}\\x{2066}-\\x{2069}]"
            "|\\A(CON|PRN|AUX|NUL|CONIN\\$|CONOUT\\$|(COM|LPT)[1-9\\x{b9}\\x{b2}\\x{b3}])(\\.|"
            "\\z)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    const bool safe
        = name.isValidUtf16() && name.toUtf8().size() <= 255 && !unsafe.match(name).hasMatch();
    require(!FileUtils::isSafeFileName(name) || safe, "a safe name is none of those refused");
    static const QRegularExpression device(QStringLiteral("\\A\\s*\\S{3,7}\\s*(\\.|\\z)"),
                                           QRegularExpression::UseUnicodePropertiesOption);
    require(!safe || FileUtils::isSafeFileName(name) || device.match(name).hasMatch(),
            "others are safe, but for blanks around a device");
    if (FileUtils::isSafeFileName(name))
        require(FileUtils::safeFilePath(QStringLiteral("/a"), name) == QStringLiteral("/a/") + name,
                "in the folder");
}

void checkServer(const QString& path)
{
    const QString server = FileUtils::serverFromUNCPath(path);
    require(path.startsWith(QLatin1Char('\\')) || server.isNull(), "no network path");
    require(std::none_of(server.begin(), server.end(), isSeparator), "a server's name");
    require(path.mid(2).startsWith(server), "the server is in front");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const QString path = input.textLine();
    const QString other = input.textLine();
    checkExtension(path, other);
    checkNative(path);
    checkServer(path);
    checkSafe(path);

    if ((path + other).contains(QChar(u'\0')))
        return 0; // those name nothing
    const QString absolute = FileUtils::absoluteFilePath(other, path);
    require(QFileInfo(absolute).isAbsolute(), "absolute path");
    require(FileUtils::absoluteFilePath(QStringLiteral("/else"), absolute) == absolute, "stays so");
    const QString found = FileUtils::canonicalFilePath(path);
    require(found.isEmpty() == path.isEmpty(), "a path of a path");
    // "missing/.." is made absolute, and what that leads to may be there.
    const QString canonical = FileUtils::canonicalFilePath(found);
    require(FileUtils::canonicalFilePath(canonical) == canonical, "canonical stays so");
    return 0;
}
