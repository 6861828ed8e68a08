#include "platform/spillFolder.h"

QString spillFolder()
{
    const QString folder = qEnvironmentVariable("TMPDIR");
    return folder.isEmpty() ? QStringLiteral("/var/tmp") : folder; // /tmp often is in memory itself
}

QString spillFolderText()
{
    return QStringLiteral("TMPDIR or /var/tmp");
}
