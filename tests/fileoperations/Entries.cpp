#include "Entries.h"

#include <QFile>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(nativePath().toStdString(), ignored);
}

QByteArray TemporaryFolder::nativePath() const
{
    return QFile::encodeName(path());
}

void createEntries(const QByteArray& root, const Entries& entries)
{
    for (const QByteArray& entry : entries) {
        const QList<QByteArray> parts = entry.split('>');
        std::string path = (root + '/' + parts.first()).toStdString();
        // The standard library creates no more than a thousand folders at once.
        for (auto slash = path.find('/', 1); slash != path.npos; slash = path.find('/', slash + 1))
            ::mkdir(path.substr(0, slash).c_str(), S_IRWXU | S_IRWXG | S_IRWXO);
        if (parts.size() > 1) {
            fs::create_symlink(parts.last().toStdString(), path);
        } else if (path.back() == '|') {
            path.pop_back();
            ::mkfifo(path.c_str(), S_IRWXU);
        } else if (path.back() != '/') {
            std::ofstream(path) << "contents";
        }
    }
}

Entries entriesOf(const QByteArray& root)
{
    Entries entries;
    for (const auto& entry : fs::recursive_directory_iterator(root.toStdString())) {
        const bool isFolder = entry.is_directory() && !entry.is_symlink();
        if (!isFolder || fs::is_empty(entry.path()))
            entries << QByteArray(entry.path().c_str()).mid(root.size() + 1)
                           + (isFolder ? "/" : "");
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

int runInChild(const std::function<int()>& run)
{
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGABRT, SIG_DFL); // QtTest would go on with the tests of the parent
        ::_exit([&]() noexcept { return run(); }());
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
