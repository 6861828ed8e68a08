#ifndef RELAY_PLATFORM_SPILLFOLDER_H
#define RELAY_PLATFORM_SPILLFOLDER_H

#include <QString>

/** Where files for what memory doesn't hold go. */
QString spillFolder();

/** The same for users, whatever it is for them. */
QString spillFolderText();

#endif
