#ifndef QUARN_TESTS_SUPPORT_ENTRIES_H
#define QUARN_TESTS_SUPPORT_ENTRIES_H

#include "support/posix.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

/** The entries below a folder by their paths, as bytes: Qt does not see names of broken UTF-8. */
using Entries = QList<QByteArray>;

/** Whether the system has links, pipes, and the names where there are such. */
inline bool canCreate(const Entries& entries)
{
    const auto isOdd
        = [](char c) { return uchar(c) < ' ' || QByteArray("<>|:*?\"\\").contains(c); };
    return hasPosix
           || std::none_of(entries.begin(), entries.end(), [isOdd](const QByteArray& entry) {
                  return std::any_of(entry.begin(), entry.end(), isOdd)
                         || QString::fromUtf8(entry).toUtf8() != entry;
              });
}

/** Those of \a entries that can be created. */
inline Entries creatable(const Entries& entries)
{
    Entries possible;
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(possible),
                 [](const QByteArray& entry) { return canCreate({entry}); });
    return possible;
}

/** Of a name in UTF-8, or in whatever bytes the system takes. */
inline std::filesystem::path fileSystemPath(const std::string& path)
{
    return hasPosix ? std::filesystem::path(path)
                    : std::filesystem::path(QString::fromStdString(path).toStdWString());
}

/** Creates "folder/", "file", "pipe|" and "link>target", with the folders on the way. */
inline void createEntries(const QByteArray& root, const Entries& entries)
{
    std::error_code ignored;
    for (const QByteArray& entry : entries) {
        const QList<QByteArray> parts = entry.split('>');
        const std::string path = (root + '/' + parts.first()).toStdString();
        // The standard library creates no more than a thousand folders at once.
        for (auto slash = path.find('/', 1); slash != path.npos; slash = path.find('/', slash + 1))
            std::filesystem::create_directory(fileSystemPath(path.substr(0, slash)), ignored);
        if (parts.size() > 1)
            std::filesystem::create_symlink(parts.last().toStdString(), path);
        else if (path.back() == '|')
            ::mkfifo(path.substr(0, path.size() - 1).c_str(), 0700);
        else if (path.back() != '/')
            std::ofstream(fileSystemPath(path)) << "contents";
    }
}

/** What is there, sorted; folders that hold something don't stand for themselves. */
inline Entries entriesOf(const QByteArray& root)
{
    Entries entries;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root.toStdString())) {
        const std::string path = entry.path().generic_u8string();
        const QByteArray name = QByteArray::fromStdString(path).mid(root.size() + 1);
        if (entry.is_symlink() || !entry.is_directory())
            entries << name;
        else if (std::filesystem::is_empty(entry.path()))
            entries << name + '/';
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

#endif
