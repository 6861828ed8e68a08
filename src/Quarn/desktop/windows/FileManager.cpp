#include <Quarn/fileutils/FileManager_p.h>

#include <Quarn/fileutils/ExplorerCommand_p.h>
#include <Quarn/platform/windows/SystemCalls_p.h>

namespace kel {

void showInFileManager(const QString& item)
{
    const ExplorerCommand command = explorerCommand(item, qEnvironmentVariable("PATH"));
    // Not as a list: of two spaces in a row QProcess would make an empty argument in quotes.
    systemCalls().startDetached(command.program, command.arguments.join(QLatin1Char(' ')));
}

} // namespace kel
