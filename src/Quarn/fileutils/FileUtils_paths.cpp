#include <Quarn/fileutils/FileUtils.h>

#include <algorithm>
#include <cstring>

namespace kel {
namespace {

constexpr QLatin1Char slash('/');
constexpr QLatin1Char backslash('\\');

/** The index of the dot in front of the extension of the last path element, -1 without one. */
auto extensionDot(const QString& path)
{
    const auto dot = path.lastIndexOf(QLatin1Char('.'));
    return dot > std::max(path.lastIndexOf(slash), path.lastIndexOf(backslash)) ? dot : -1;
}

bool isSafeInFileNames(QChar character)
{
    const char ascii = character.unicode() < 0x80 ? char(character.unicode()) : '\0';
    return (ascii >= 'A' && ascii <= 'Z') || (ascii >= 'a' && ascii <= 'z')
           || (ascii >= '0' && ascii <= '9')
           || (ascii != '\0' && std::strchr(",.'!#$%&()[]{}+-=^_~@", ascii));
}

} // namespace

QString FileUtils::absoluteFilePath(const QString& baseDir, const QString& path)
{
    QFileInfo info(path);
    if (info.isRelative())
        info.setFile(QDir(baseDir).absoluteFilePath(path));
    return info.absoluteFilePath();
}

QString FileUtils::canonicalFilePath(const QFileInfo& info)
{
    const QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? info.absoluteFilePath() : canonical;
}

QString FileUtils::canonicalFilePath(const QString& path)
{
    if (path.isEmpty())
        return QString();
    QString slashed = path;
    slashed.replace(backslash, slash);
    const QString canonical = canonicalFilePath(QFileInfo(slashed));
    return canonical.isEmpty() ? slashed : canonical;
}

QString FileUtils::nativePath(const QString& path)
{
    QString native = path;
    return native.replace(slash, backslash);
}

QString FileUtils::nativePath(const QString& name, const QStringList& dirs)
{
    const auto holder = std::find_if(dirs.begin(), dirs.end(), [&name](const QString& entry) {
        return QDir(entry).exists(name);
    });
    return nativePath(holder == dirs.end() ? name : QDir(*holder).filePath(name));
}

QString FileUtils::nativePath(const QString& name, const QString& searchPath)
{
    return nativePath(name, searchPath.split(QLatin1Char(';'), Qt::KeepEmptyParts));
}

QString FileUtils::nativeFileName(const QString& name)
{
    QString safe = name;
    for (QChar& character : safe) {
        if (!isSafeInFileNames(character))
            character = QLatin1Char('_');
    }
    return safe;
}

QString FileUtils::serverFromUNCPath(const QString& path)
{
    if (!path.startsWith(backslash))
        return QString();
    const auto begin = 2;
    const auto nextBackslash = path.indexOf(backslash, begin);
    const auto nextSlash = path.indexOf(slash, begin);
    auto end = std::max<decltype(nextBackslash)>(nextBackslash, begin);
    if (nextSlash >= 0)
        end = std::min(end, nextSlash);
    return path.mid(begin, end - begin);
}

QString FileUtils::extension(const QString& path)
{
    const auto dot = extensionDot(path);
    return dot < 0 ? QLatin1String("") : path.mid(dot + 1);
}

QString FileUtils::stripExtension(const QString& path)
{
    return path.left(extensionDot(path)); // all of it when there is no dot
}

QString FileUtils::replaceExtension(const QString& path, const QString& newExtension)
{
    QString replaced = stripExtension(path);
    if (!newExtension.isEmpty())
        replaced += QLatin1Char('.') + newExtension;
    return replaced;
}

} // namespace kel
