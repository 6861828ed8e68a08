#ifndef QUARN_FILEUTILS_EXPLORERCOMMAND_P_H
#define QUARN_FILEUTILS_EXPLORERCOMMAND_P_H

#include <QString>
#include <QStringList>

namespace kel {

/** A program and its arguments. */
struct ExplorerCommand
{
    QString program;
    QStringList arguments;
};

/**
 * What shows \a item, an absolute path, selected in Windows Explorer: explorer.exe of the first
 * folder of \a searchPath that holds it, else by its bare name. The text "/select," with the native
 * path is split at each space, as Explorer puts its command line together again by itself.
 */
ExplorerCommand explorerCommand(const QString& item, const QString& searchPath);

} // namespace kel
#endif
