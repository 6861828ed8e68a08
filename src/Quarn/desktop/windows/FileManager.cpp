#include <Quarn/fileutils/FileManager_p.h>

#include <Quarn/fileutils/ExplorerCommand_p.h>

#include <QProcess>

namespace kel {

void showInFileManager(const QString& item)
{
    const ExplorerCommand command = explorerCommand(item, QString::fromLocal8Bit(qgetenv("PATH")));
    QProcess::startDetached(command.program, command.arguments);
}

} // namespace kel
