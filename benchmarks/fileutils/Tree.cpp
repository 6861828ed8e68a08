#include "fileutils/Tree.h"

#include "support/Scratch.h"
#include "support/contest.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

namespace bench {
namespace {

constexpr int filesInFolder = 100;
constexpr int foldersInFolder = 9;

void makeFile(const std::string& path)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const bool written = ::write(file, "content", Tree::fileSize) == Tree::fileSize;
    ::close(file);
    insist(written, "a file of a tree could not be written");
}

void makeFolder(const std::string& path)
{
    insist(::mkdir(path.c_str(), 0700) == 0, "a folder of a tree could not be made");
    for (int number = 0; number < filesInFolder; ++number)
        makeFile(path + "/holiday-" + std::to_string(number) + (number % 2 ? ".jpg" : ".txt"));
}

} // namespace

const std::string& Tree::of(int files)
{
    static std::map<int, std::string> made;
    std::string& path = made[files];
    if (path.empty()) {
        path = QFile::encodeName(Scratch::path(QStringLiteral("tree-%1").arg(files))).toStdString();
        make(path, files);
    }
    return path;
}

void Tree::make(const std::string& path, int files)
{
    insist(::mkdir(path.c_str(), 0700) == 0, "a tree could not be made");
    for (int folder = 0; folder < files / filesInFolder; ++folder) {
        const int below = folder % (foldersInFolder + 1);
        std::string place = path + "/year-" + std::to_string(folder / (foldersInFolder + 1));
        if (below > 0)
            place += "/month-" + std::to_string(below);
        makeFolder(place);
    }
}

} // namespace bench
