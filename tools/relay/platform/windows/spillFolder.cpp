#include "platform/spillFolder.h"

#include <QDir>

QString spillFolder()
{
    return QDir::tempPath();
}

QString spillFolderText()
{
    return QStringLiteral("the folder TMP");
}
