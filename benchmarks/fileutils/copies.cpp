#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"
#include "support/kernelCopy.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <filesystem>
#include <limits>

// Copying a file: by the names, which Qt's text mode goes with, and byte by byte between devices.

namespace bench {
namespace {

constexpr int total = 256 << 20;
constexpr int pass = 16384; // of FileUtils
constexpr qint64 all = std::numeric_limits<qint64>::max();

/** Of lines that end as all systems but Windows end them; text mode takes no byte away. */
QString source()
{
    static const QString path = [] {
        std::vector<char> text = noise(total);
        std::replace(text.begin(), text.end(), '\r', '\n');
        const QString made = Scratch::path(QStringLiteral("text"));
        QFile file(made);
        insist(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)
                   && file.write(text.data(), total) == total,
               "the text to copy could not be written");
        return made;
    }();
    return path;
}

template <QIODevice::OpenModeFlag mode>
bool copyByQt(const QString& from, const QString& to)
{
    QFile source(from);
    QFile target(to);
    source.open(QIODevice::ReadOnly | mode);
    target.open(QIODevice::WriteOnly | mode);
    alignas(64) char buffer[pass];
    while (const qint64 count = source.read(buffer, pass)) {
        if (count < 0 || target.write(buffer, count) != count)
            return false;
    }
    return target.flush();
}

template <typename CopyByQt, typename Copy>
void addCopy(const char* item, CopyByQt copyByQt, Copy copy)
{
    const auto contender = [item](const char* name, auto run) {
        const auto work = [run] {
            const QString target = Scratch::path(QStringLiteral("copied-file"));
            insist(run(source(), target) && QFileInfo(target).size() == total,
                   "too little was copied");
        };
        add(item, binary(total), name, work);
    };
    contender(limit, [](const QString& from, const QString& to) {
        copyByKernel(QFile::encodeName(from).constData(), QFile::encodeName(to).constData(), total);
        return true;
    });
    contender(standard, [](const QString& from, const QString& to) {
        return std::filesystem::copy_file(from.toStdString(), to.toStdString(),
                                          std::filesystem::copy_options::overwrite_existing);
    });
    contender(qt, copyByQt);
    contender(quarn, copy);
}

} // namespace

void addFileCopies()
{
    addCopy("copy-by-name", copyByQt<QIODevice::Text>, [](const QString& from, const QString& to) {
        return kel::FileUtils::copy(from, to, all, 0) == total;
    });
    addCopy("copy-devices", copyByQt<QIODevice::NotOpen>,
            [](const QString& from, const QString& to) {
                QFile source(from);
                QFile target(to);
                source.open(QIODevice::ReadOnly);
                target.open(QIODevice::WriteOnly);
                return kel::FileUtils::copy(&source, &target, all, 0) == total && target.flush();
            });
}

} // namespace bench
