#ifndef QUARN_TESTS_SUPPORT_PROCESSSTATE_H
#define QUARN_TESTS_SUPPORT_PROCESSSTATE_H

/**
 * \file
 * What Linux tells of this process; without POSIX nothing of use.
 */

#include "support/posix.h"

#include <QDir>
#include <QFile>

#include <fstream>
#include <iterator>
#include <string>

#if QUARN_HAS_POSIX

inline qint64 addressSpace()
{
    qint64 pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

/** Has the file in \a folder that has no name answer no read any more. */
inline bool breakReads(const QString& folder)
{
    const QDir open(QStringLiteral("/proc/self/fd"));
    for (const QString& name : open.entryList(QDir::System | QDir::Files | QDir::NoDotAndDotDot))
        if (QFile::symLinkTarget(open.filePath(name)).startsWith(folder))
            return ::dup2(::open("/dev/null", O_WRONLY), name.toInt()) >= 0;
    return false;
}

inline int currentThread()
{
    return ::gettid();
}

inline bool sleeps(int thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    const std::size_t name = line.rfind(')');
    return name != std::string::npos && line.compare(name, 3, ") S") == 0;
}

#else

inline qint64 addressSpace()
{
    return 0;
}

inline bool breakReads(const QString&)
{
    return false;
}

inline int currentThread()
{
    return 1;
}

inline bool sleeps(int)
{
    return true; // it may as well come to that later
}

#endif
#endif
