// Name filters of findFiles(), dirSize() and find jobs against those of QDir.
#include "Input.h"

#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/filejobs/FileOperations.h>
#include <Quarn/fileutils/FileUtils.h>

#include <numeric>

using kel::FileUtils;

namespace {

const QDir& folder()
{
    static const TemporaryFolder folder;
    static const QDir dir = [] {
        createEntries(folder.root(),
                      {"a.jpg", "B.JPG", "c.Jpeg", "jpg", "x.\xc5\xbf", "k.\xe2\x84\xaa", "k.k",
                       "x.s", ".hidden", "[a].txt", "a?b", "star*",
                       "gr\xc3\xbc\xc3\x9f"
                       "e.txt",
                       "back\\slash.c", "\xf0\x9f\x98\x80.png", "sub.jpg/in.jpg", "empty/"});
        return QDir(folder.path());
    }();
    return dir;
}

QStringList names(const QFileInfoList& files)
{
    QStringList names;
    for (const QFileInfo& file : files)
        names << file.fileName();
    return names;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    constexpr QDir::SortFlags orders[] = {QDir::Name | QDir::IgnoreCase, QDir::Name, QDir::NoSort,
                                          QDir::Size, QDir::Name | QDir::Reversed};
    const QDir::SortFlags order = orders[input.number(4)];
    const QString patterns = input.textLine();
    const QStringList filters = patterns.split(QStringLiteral(";;"), Qt::SkipEmptyParts);

    const QFileInfoList expected = folder().entryInfoList(filters, QDir::Files, order);
    const QStringList found = names(FileUtils::findFiles(folder(), patterns, false, order));
    require(found == names(expected), "the files that QDir finds");
    const qint64 sum = std::accumulate(
        expected.begin(), expected.end(), qint64(0),
        [](qint64 before, const QFileInfo& file) { return before + file.size(); });
    require(FileUtils::dirSize(folder(), filters, QDir::Files, false) == sum, "their size");
    QStringList byJob;
    const auto take = [&byJob](const QString& path) { byJob << QFileInfo(path).fileName(); };
    kel::FindOptions options{filters, false};
    require(kel::FileOperations::find(folder().path(), options, take).ok(), "the job ends well");
    byJob.sort();
    QStringList sorted = names(expected);
    sorted.sort();
    require(byJob == sorted, "a job finds the same");
    const auto everywhere = FileUtils::findFiles(folder(), filters, true, order);
    require(everywhere.size() >= expected.size(), "no fewer in sub-folders");
    return 0;
}
