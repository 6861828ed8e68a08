#include "fileutils/Tree.h"
#include "fileutils/eachEntry.h"
#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDirIterator>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

// Trees of small files: collecting those of one kind, adding up their sizes, deleting them.

namespace bench {
namespace {

QStringList pictures()
{
    return {QStringLiteral("*.jpg")};
}

void removeAll(int parent, const std::string& name)
{
    eachEntry(parent, name, [](int folder, const dirent& entry) {
        if (entry.d_type == DT_DIR)
            removeAll(folder, entry.d_name);
        else
            ::unlinkat(folder, entry.d_name, 0);
    });
    ::unlinkat(parent, name.c_str(), AT_REMOVEDIR);
}

/** The lines that a program prints. */
std::vector<std::string> outputOf(const std::string& command)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen(command.c_str(), "r"),
                                                               ::pclose);
    insist(pipe != nullptr, "a program could not be started");
    std::vector<std::string> lines;
    std::array<char, 4096> line;
    while (std::fgets(line.data(), int(line.size()), pipe.get()))
        lines.emplace_back(line.data(), std::strlen(line.data()) - 1);
    return lines;
}

void addFindFiles(int files)
{
    const auto contender = [files](const char* name, auto find) {
        const auto work = [files, find] {
            insist(int(find(Tree::of(files)).size()) == files / 2, "not all files were found");
        };
        add("find-files", std::to_string(files), name, work);
    };
    contender(limit, [](const std::string& path) {
        std::vector<std::string> found;
        collect(AT_FDCWD, path, path, found);
        return found;
    });
    contender(standard, [](const std::string& path) {
        return outputOf("find '" + path + "' -type f -name '*.jpg'");
    });
    contender(qt, [](const std::string& path) {
        QFileInfoList found;
        QDirIterator entries(QString::fromStdString(path), pictures(), QDir::Files,
                             QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            entries.next();
            found.append(entries.fileInfo());
        }
        return found;
    });
    contender(quarn, [](const std::string& path) {
        return kel::FileUtils::findFiles(QDir(QString::fromStdString(path)), pictures(), true,
                                         QDir::NoSort);
    });
}

void addDirSize(int files)
{
    const auto contender = [files](const char* name, auto addUp) {
        const auto work = [files, addUp] {
            insist(addUp(Tree::of(files)) == qint64(files) * Tree::fileSize, "not all was added");
        };
        add("dir-size", std::to_string(files), name, work);
    };
    contender(limit, [](const std::string& path) { return sizeOf(AT_FDCWD, path); });
    contender(qt, [](const std::string& path) {
        qint64 size = 0;
        QDirIterator entries(QString::fromStdString(path), QDir::Files,
                             QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            entries.next();
            size += entries.fileInfo().size();
        }
        return size;
    });
    contender(quarn, [](const std::string& path) {
        return kel::FileUtils::dirSize(QDir(QString::fromStdString(path)), {},
                                       QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, true);
    });
    // Old ones also count the folders, whose size the file system chooses.
    const auto work = [files] {
        const std::vector<std::string> lines = outputOf("du -sb '" + Tree::of(files) + '\'');
        insist(lines.size() == 1 && std::stoll(lines[0]) >= files * Tree::fileSize,
               "du didn't add up");
    };
    add("dir-size", std::to_string(files), standard, work);
}

void addErase(int files)
{
    const auto contender = [files](const char* name, auto erase) {
        addMeasured("erase", std::to_string(files), name, [files, erase] {
            static const std::string path
                = QFile::encodeName(Scratch::path(QStringLiteral("erased"))).toStdString();
            Tree::make(path, files);
            const double time = seconds([&] { erase(path); });
            insist(!std::filesystem::exists(path), "a tree was not deleted");
            return time;
        });
    };
    contender(limit, [](const std::string& path) { removeAll(AT_FDCWD, path); });
    contender(standard, [](const std::string& path) { std::filesystem::remove_all(path); });
    contender(qt, [](const std::string& path) {
        QDir(QString::fromStdString(path)).removeRecursively();
    });
    contender(quarn, [](const std::string& path) {
        return kel::FileUtils::erase(QString::fromStdString(path));
    });
}

} // namespace

void addTrees()
{
    for (const int files : {1000, 10000, 50000, 200000}) {
        addFindFiles(files);
        addDirSize(files);
    }
    addErase(10000);
}

} // namespace bench
