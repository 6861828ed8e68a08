#include <Quarn/platform/windows/SystemPath_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QDir>

namespace kel {

std::wstring systemPath(const QString& path)
{
    return hasSystemForm(path) ? QDir::toNativeSeparators(path).toStdWString() : std::wstring();
}

std::wstring longSystemPath(const QString& path)
{
    const bool network = path.startsWith(QLatin1String("//"));
    return systemPath(network ? QStringLiteral("//?/UNC/") + path.mid(2)
                              : QStringLiteral("//?/") + path);
}

} // namespace kel
