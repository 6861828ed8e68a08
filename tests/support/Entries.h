#ifndef QUARN_TESTS_SUPPORT_ENTRIES_H
#define QUARN_TESTS_SUPPORT_ENTRIES_H

#include <QByteArray>
#include <QList>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

/** The entries below a folder by their paths, as bytes: Qt does not see names of broken UTF-8. */
using Entries = QList<QByteArray>;

/** Creates "folder/", "file", "pipe|" and "link>target", with the folders on the way. */
inline void createEntries(const QByteArray& root, const Entries& entries)
{
    for (const QByteArray& entry : entries) {
        const QList<QByteArray> parts = entry.split('>');
        const std::string path = (root + '/' + parts.first()).toStdString();
        // The standard library creates no more than a thousand folders at once.
        for (auto slash = path.find('/', 1); slash != path.npos; slash = path.find('/', slash + 1))
            ::mkdir(path.substr(0, slash).c_str(), 0777);
        if (parts.size() > 1)
            std::filesystem::create_symlink(parts.last().toStdString(), path);
        else if (path.back() == '|')
            ::mkfifo(path.substr(0, path.size() - 1).c_str(), 0700);
        else if (path.back() != '/')
            std::ofstream(path) << "contents";
    }
}

/** What is there, sorted; folders that hold something don't stand for themselves. */
inline Entries entriesOf(const QByteArray& root)
{
    Entries entries;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root.toStdString())) {
        const QByteArray name = QByteArray(entry.path().c_str()).mid(root.size() + 1);
        if (entry.is_symlink() || !entry.is_directory())
            entries << name;
        else if (std::filesystem::is_empty(entry.path()))
            entries << name + '/';
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

#endif
