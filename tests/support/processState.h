#ifndef QUARN_TESTS_SUPPORT_PROCESSSTATE_H
#define QUARN_TESTS_SUPPORT_PROCESSSTATE_H

/**
 * \file
 * What Linux tells of this process; elsewhere nothing of use.
 */

#include "support/posix.h"

#include <QFile>

/** Bytes. */
inline qint64 addressSpace()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').first().toLongLong() * 4096
                                          : 0;
}

/** By the folder that tells of it. */
inline QString currentThread()
{
    return QFile::symLinkTarget(QStringLiteral("/proc/thread-self"));
}

/** Where that cannot be told, it may as well come to that later. */
inline bool sleeps(const QString& thread)
{
    QFile file(thread + QStringLiteral("/stat"));
    return !hasPosix || (file.open(QIODevice::ReadOnly) && file.readAll().contains(") S "));
}

#endif
