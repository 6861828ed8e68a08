#include "support/Scratch.h"

#include "support/contest.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <memory>

namespace bench {
namespace {

std::unique_ptr<QTemporaryDir> root;

void write(const QString& path, const char* data, qint64 size)
{
    QFile file(path);
    insist(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)
               && file.write(data, size) == size,
           "a file of the benchmarks could not be written");
}

} // namespace

Scratch::Scratch()
{
    root = std::make_unique<QTemporaryDir>(QDir::tempPath()
                                           + QStringLiteral("/quarn-benchmarks-XXXXXX"));
    insist(root->isValid(), "no folder for the benchmarks' files could be made");
}

Scratch::~Scratch()
{
    root.reset();
}

QString Scratch::path(const QString& name)
{
    return root->filePath(name);
}

QString Scratch::file(qint64 size)
{
    const QString made = path(QString::number(size));
    if (!QFile::exists(made))
        write(made, noise(std::size_t(size)).data(), size);
    return made;
}

QString Scratch::folder(const QString& folder, int count, QString (*name)(int))
{
    const QString made = path(folder);
    if (QDir().mkdir(made)) {
        for (int number = 0; number < count; ++number)
            write(made + QLatin1Char('/') + name(number), "content", 7);
    }
    return made;
}

} // namespace bench
