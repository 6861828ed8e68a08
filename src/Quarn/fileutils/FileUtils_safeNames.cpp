#include <Quarn/fileutils/FileUtils.h>

#include <algorithm>

namespace kel {
namespace {

constexpr int longestName = 255; // bytes on Linux, UTF-16 units on Windows

/** Characters that systems refuse, or that show a name as it is not. */
bool isUnsafe(QChar character)
{
    const ushort code = character.unicode();
    const bool turnsText = code == 0x061c || code == 0x200e || code == 0x200f
                           || (code >= 0x202a && code <= 0x202e)
                           || (code >= 0x2066 && code <= 0x2069);
    const bool breaksLine = code == 0x2028 || code == 0x2029;
    return character.category() == QChar::Other_Control || turnsText || breaksLine
           || QStringLiteral("/\\<>:\"|?*").contains(character);
}

/** What Windows takes for a device, whatever extension follows. */
bool isDevice(const QString& name)
{
    const QString stem = name.section(QLatin1Char('.'), 0, 0).trimmed().toUpper();
    const QStringList devices
        = {QStringLiteral("CON"), QStringLiteral("PRN"),    QStringLiteral("AUX"),
           QStringLiteral("NUL"), QStringLiteral("CONIN$"), QStringLiteral("CONOUT$")};
    const bool port
        = stem.startsWith(QLatin1String("COM")) || stem.startsWith(QLatin1String("LPT"));
    return devices.contains(stem)
           || (port && stem.size() == 4
               && QStringLiteral("123456789\u00b9\u00b2\u00b3").contains(stem.back()));
}

} // namespace

bool FileUtils::isSafeFileName(const QString& name)
{
    return !name.isEmpty() && name.isValidUtf16() && name.size() <= longestName
           && name.toUtf8().size() <= longestName
           && std::none_of(name.begin(), name.end(), isUnsafe) && !name.endsWith(QLatin1Char('.'))
           && !name.back().isSpace() && !isDevice(name);
}

QString FileUtils::safeFilePath(const QDir& folder, const QString& name)
{
    if (!isSafeFileName(name))
        throw FileException(QFileInfo(name), QFile::OpenError,
                            QStringLiteral("is no safe file name"));
    const QString path = folder.absolutePath();
    return path.endsWith(QLatin1Char('/')) ? path + name : path + QLatin1Char('/') + name;
}

} // namespace kel
