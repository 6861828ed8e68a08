#ifndef QUARN_DESKTOP_DESKTOPLIBRARY_P_H
#define QUARN_DESKTOP_DESKTOPLIBRARY_P_H

#include <Quarn/fileutils/FileDialogs_p.h>

#include <QtGlobal>

/*
 * What the desktop library exports, for the main library alone: all that needs more than Qt Core.
 * The number in a name belongs to what the function takes and gives, down to the members of a
 * struct. Change one, and it gets the next number: a program that runs while its libraries are
 * replaced by newer ones then uses what fits, or finds nothing, but never calls the wrong thing.
 */
extern "C" {
Q_DECL_EXPORT const kel::FileDialogs* quarnFileDialogs1();
Q_DECL_EXPORT void quarnShowInFileManager1(const QString& item); // on Linux
}

#endif
