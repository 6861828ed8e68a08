#ifndef QUARN_TESTS_SUPPORT_RESIDENTLIBRARY_H
#define QUARN_TESTS_SUPPORT_RESIDENTLIBRARY_H

#include <QFile>

#if __has_include(<dlfcn.h>)

#include <dlfcn.h>

/** Whether the library in the file \a path is loaded. */
inline bool isResident(const QString& path)
{
    void* const library = dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_NOLOAD);
    if (library)
        dlclose(library);
    return library;
}

#else

#include <QFileInfo>

#include <qt_windows.h>

inline bool isResident(const QString& path)
{
    return GetModuleHandleW(QFileInfo(path).fileName().toStdWString().c_str()) != nullptr;
}

#endif
#endif
