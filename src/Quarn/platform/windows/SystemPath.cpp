#include <Quarn/platform/windows/SystemPath_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QDir>

namespace kel {

std::wstring systemPath(const QString& path)
{
    return hasSystemForm(path) ? QDir::toNativeSeparators(path).toStdWString() : std::wstring();
}

} // namespace kel
