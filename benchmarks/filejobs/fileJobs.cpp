#include "fileutils/Tree.h"
#include "fileutils/eachEntry.h"
#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"
#include "support/kernelCopy.h"

#include <Quarn/filejobs/CopyJob.h>
#include <Quarn/filejobs/FileOperations.h>

#include <QFile>

#include <cstdlib>
#include <filesystem>

// Files and trees copied, removed, counted and searched, by what the jobs do in their threads.

namespace bench {
namespace {

std::string encoded(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

/** Registers \a copy(folder), timed without the clearing away; it is to make \a entries() there. */
template <typename Entries, typename Copy>
void addCopy(const char* item, const std::string& parameter, const char* contender, Entries entries,
             Copy copy)
{
    addMeasured(item, parameter, contender, [entries, copy] {
        const std::string place = encoded(Scratch::path(QStringLiteral("copied")));
        const std::uintmax_t expected = entries(); // makes what is to be copied
        std::filesystem::create_directory(place);
        const double time = seconds([&] { copy(place); });
        insist(std::filesystem::remove_all(place) == expected + 1, "not all was copied");
        return time;
    });
}

void addCopyOfFile(qint64 size)
{
    const auto contender = [size](const char* name, auto copy) {
        const auto entries = [size] { return Scratch::file(size).isEmpty() ? 0u : 1u; };
        addCopy("job-copy", binary(size), name, entries, copy);
    };
    contender(limit, [size](const std::string& place) {
        copyByKernel(encoded(Scratch::file(size)).c_str(), (place + "/copy").c_str(), size);
    });
    contender(quarn, [size](const std::string& place) {
        (void)kel::FileOperations::copy({Scratch::file(size)}, QString::fromStdString(place));
    });
}

void addCopyOfTree(int files)
{
    const auto contender = [files](const char* name, auto copy) {
        const auto entries = [files] {
            const QString tree = QString::fromStdString(Tree::of(files));
            return std::uintmax_t(kel::FileOperations::measure({tree}).entries);
        };
        addCopy("job-copy-tree", std::to_string(files), name, entries, copy);
    };
    contender(limit, [files](const std::string& place) {
        const std::string command = "cp -a '" + Tree::of(files) + "' '" + place + '\'';
        insist(std::system(command.c_str()) == 0, "cp failed");
    });
    contender(quarn, [files](const std::string& place) {
        (void)kel::FileOperations::copy({QString::fromStdString(Tree::of(files))},
                                        QString::fromStdString(place));
    });
}

void addRemove(int files)
{
    const auto contender = [files](const char* name, auto remove) {
        addMeasured("job-remove", std::to_string(files), name, [files, remove] {
            const std::string path = encoded(Scratch::path(QStringLiteral("removed")));
            Tree::make(path, files);
            const double time = seconds([&] { remove(path); });
            insist(!std::filesystem::exists(path), "a tree was not removed");
            return time;
        });
    };
    contender(limit, [](const std::string& path) { std::filesystem::remove_all(path); });
    contender(quarn, [](const std::string& path) {
        (void)kel::FileOperations::remove({QString::fromStdString(path)});
    });
}

void addCount(int files)
{
    const auto contender = [files](const char* name, auto addUp) {
        add("job-count", std::to_string(files), name, [files, addUp] {
            insist(addUp(Tree::of(files)) == qint64(files) * Tree::fileSize, "not all was added");
        });
    };
    contender(limit, [](const std::string& path) { return sizeOf(AT_FDCWD, path); });
    contender(quarn, [](const std::string& path) {
        return kel::FileOperations::measure({QString::fromStdString(path)}).bytes;
    });
}

void addFind(int files)
{
    const auto contender = [files](const char* name, auto find) {
        add("job-find", std::to_string(files), name,
            [files, find] { insist(find(Tree::of(files)) == files / 2, "not all were found"); });
    };
    contender(limit, [](const std::string& path) {
        std::vector<std::string> found;
        collect(AT_FDCWD, path, path, found);
        return int(found.size());
    });
    contender(quarn, [](const std::string& path) {
        QStringList found;
        kel::FindOptions options;
        options.nameFilters = QStringList(QStringLiteral("*.jpg"));
        (void)kel::FileOperations::find(QString::fromStdString(path), options,
                                        [&](const QString& file) { found.append(file); });
        return int(found.size());
    });
}

/** From the call of cancel() in the middle of a large file to the end of the job. */
void addCancel(qint64 size)
{
    addMeasured("job-cancel", binary(size), quarn, [size] {
        const QString place = Scratch::path(QStringLiteral("cancelled"));
        std::filesystem::create_directory(encoded(place));
        kel::CopyJob job({Scratch::file(size)}, place);
        job.start();
        (void)job.waitForFinished(1);
        const double time = seconds([&] {
            job.cancel();
            (void)job.waitForFinished();
        });
        std::filesystem::remove_all(encoded(place));
        return time;
    });
}

} // namespace

void addFileJobs()
{
    for (const qint64 size : {16 << 20, 256 << 20}) {
        addCopyOfFile(size);
        addCancel(size);
    }
    for (const int files : {1000, 50000}) {
        addCopyOfTree(files);
        addRemove(files);
        addCount(files);
        addFind(files);
    }
}

} // namespace bench
