#include "smallFiles.h"

#include <Quarn/companion/IOException.h>

#include <QFile>

namespace {

constexpr int largestFile = 1024 * 1024;

} // namespace

QByteArray contentsOf(const QString& kind, const QString& path)
{
    const auto fail = [&](const QString& reason) {
        throw kel::IOException(QStringLiteral("cannot read the %1 %2: %3").arg(kind, path, reason));
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        fail(file.errorString());
    QByteArray bytes;
    bytes.reserve(largestFile + 1); // so that it is neither moved nor copied
    bytes.resize(largestFile + 1);
    qint64 size = 0;
    qint64 count = 0;
    while (size <= largestFile
           && (count = file.read(bytes.data() + size, largestFile + 1 - size)) > 0)
        size += count;
    if (count < 0 || file.error() != QFileDevice::NoError)
        fail(file.errorString());
    if (size == 0)
        fail(QStringLiteral("The file is empty"));
    if (size > largestFile)
        fail(QStringLiteral("The file is too large for that"));
    bytes.truncate(int(size));
    return bytes;
}
