#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/signature/SignatureDigest.h>

#include <QCryptographicHash>
#include <QDirIterator>
#include <QFile>

#include <cstdio>
#include <filesystem>
#include <limits>
#include <vector>

// Does one piece of work and ends, so that another program can tell how much memory it took.

namespace {

constexpr const char* usage = "usage: quarn-peaks nothing\n"
                              "       quarn-peaks copy quarn|qt|std FROM TO\n"
                              "       quarn-peaks digest quarn|qt FILE\n"
                              "       quarn-peaks find quarn|qt|std FOLDER\n"
                              "find collects the files named *.txt\n";

bool copy(const QByteArray& contender, const QString& from, const QString& to)
{
    if (contender == "quarn")
        return kel::FileUtils::copy(from, to, std::numeric_limits<qint64>::max(), 0) > 0;
    if (contender == "qt")
        return QFile::copy(from, to);
    return std::filesystem::copy_file(from.toStdU16String(), to.toStdU16String());
}

bool digest(const QByteArray& contender, const QString& path)
{
    if (contender == "quarn")
        return kel::SignatureDigest().digestFile(path) > 0;
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha1);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file);
}

bool find(const QByteArray& contender, const QString& folder)
{
    const QStringList filters{QStringLiteral("*.txt")};
    if (contender == "quarn")
        return !kel::FileUtils::findFiles(QDir(folder), filters, true, QDir::NoSort).isEmpty();
    if (contender == "qt") {
        QList<QFileInfo> found;
        QDirIterator entries(folder, filters, QDir::Files, QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            entries.next();
            found.append(entries.fileInfo());
        }
        return !found.isEmpty();
    }
    std::vector<std::filesystem::directory_entry> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.toStdU16String()))
        if (entry.is_regular_file() && entry.path().extension() == ".txt")
            found.push_back(entry);
    return !found.empty();
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<QByteArray> words(argv + 1, argv + argc);
    const auto path = [&words](std::size_t at) { return QFile::decodeName(words[at]); };
    bool done = false;
    if (words.size() == 1 && words[0] == "nothing") {
        done = true;
    } else if (words.size() == 4 && words[0] == "copy") {
        done = copy(words[1], path(2), path(3));
    } else if (words.size() == 3 && words[0] == "digest") {
        done = digest(words[1], path(2));
    } else if (words.size() == 3 && words[0] == "find") {
        done = find(words[1], path(2));
    } else {
        std::fputs(usage, stderr);
        return 2;
    }
    if (!done)
        std::fprintf(stderr, "quarn-peaks: %s had nothing to work on\n", words[0].constData());
    return done ? 0 : 1;
}
