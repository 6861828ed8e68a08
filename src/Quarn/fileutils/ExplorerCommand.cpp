#include <Quarn/fileutils/ExplorerCommand_p.h>

#include <Quarn/fileutils/FileUtils.h>

namespace kel {

ExplorerCommand explorerCommand(const QString& item, const QString& searchPath)
{
    const QString argument = QStringLiteral("/select,") + FileUtils::nativePath(item);
    return {FileUtils::nativePath(QStringLiteral("explorer.exe"), searchPath),
            argument.split(QLatin1Char(' '), Qt::KeepEmptyParts)};
}

} // namespace kel
