#include "support/MountedFolder.h"
#include "support/ResourceLimit.h"
#include "support/testBytes.h"

#include <Quarn/access/AsyncFile.h>
#include <Quarn/access/KelFileAccess.h>
#include <Quarn/filejobs/FileOperations.h>
#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/MappedFileStream.h>
#include <Quarn/streams/SafeFile.h>
#include <Quarn/streams/StreamUtils.h>

#include <QTest>

#include <limits>
#include <optional>

using namespace kel;

namespace {

constexpr int room = 100 << 10; // in a file system, or for a file

struct Given
{
    QByteArray bytes;
    QString source; // a file elsewhere that has them
    QString folder, target;
};

bool streamed(const Given& given, QIODevice::OpenMode extra, bool fast)
{
    FileStream file(given.target, QIODevice::WriteOnly | extra);
    MappedFileStream source(given.source);
    const int size = int(given.bytes.size());
    const bool taken = fast ? StreamUtils::copyFast(&source, 0, &file, 0, -1) == size
                            : file.writeBlock(given.bytes.constData(), size);
    file.flush();
    file.finishIO();
    return taken && !file.ioFailureDetected();
}

struct Writer
{
    const char* name;
    bool (*succeeds)(const Given& given); // or throws
};

const Writer writers[] = {
    {"writeBytes",
     [](const Given& given) {
         return FileUtils::writeBytes(given.bytes, given.target) == given.bytes.size();
     }},
    {"saveBytes",
     [](const Given& given) { return FileUtils::saveBytes(given.bytes, given.target), true; }},
    {"copyText",
     [](const Given& given) {
         QFile file(given.target);
         const bool opened = file.open(QIODevice::WriteOnly);
         FileUtils::copyText(QString::fromLatin1(given.bytes.toHex()), &file);
         return opened && file.error() == QFile::NoError;
     }},
    {"copy",
     [](const Given& given) {
         return FileUtils::copy(given.source, given.target, std::numeric_limits<qint64>::max(), 0)
                == given.bytes.size();
     }},
    {"FileOperations",
     [](const Given& given) { return FileOperations::copy({given.source}, given.folder).ok(); }},
    {"FileStream", [](const Given& given) { return streamed(given, {}, false); }},
    {"FileStream, unbuffered",
     [](const Given& given) { return streamed(given, QIODevice::Unbuffered, false); }},
    {"copyFast", [](const Given& given) { return streamed(given, {}, true); }},
    {"SafeFile",
     [](const Given& given) {
         SafeFile file(given.target);
         return file.open(QIODevice::WriteOnly)
                && file.writeBlock(given.bytes.constData(), int(given.bytes.size()))
                && file.commit();
     }},
    {"AsyncFile",
     [](const Given& given) {
         AsyncFile file(given.target);
         (void)file.open(QIODevice::WriteOnly);
         (void)file.write(given.bytes);
         return file.close().result().ok();
     }},
    {"KelFileAccess",
     [](const Given& given) {
         KelFileAccess file(given.target);
         file.open(QIODevice::WriteOnly, false);
         file.write(given.bytes);
         return file.error() == QFile::NoError; // of the last call
     }},
    {"MultiUserSpool",
     [](const Given& given) {
         MultiUserSpool::Settings settings;
         settings.memoryLimit = 1;
         settings.spillFolder = given.folder;
         MultiUserSpool spool(settings);
         const QByteArray twice = given.bytes + given.bytes; // a part of it stays in memory
         for (int at = 0; at < twice.size(); at += 5000)
             spool.write(twice.mid(at, 5000));
         return !spool.ioFailureDetected();
     }},
};

} // namespace

/** Whatever writes tells of a full file system, and of a file that grows too large. */
class FullDiskTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsOfTheLoss()
    {
        int cases = 0;
        const TemporaryFolder elsewhere;
        for (const bool limited : {false, true}) {
            const MountedFolder full("tmpfs", "size=100k");
            if (!limited && !full.isMounted())
                continue; // without the right to mount
            for (const int size : {1000, room + 5000, 30 * room}) {
                Given given{testBytes(size).replace('\r', 'r'), elsewhere.at("copied"), full.path(),
                            full.at("file")};
                QVERIFY(FileUtils::writeBytes(given.bytes, given.source) == size);
                for (const Writer& writer : writers) {
                    std::optional<ResourceLimit> limit;
                    if (limited)
                        limit.emplace(ResourceLimit::FileSize, room);
                    bool claimed = false;
                    try {
                        claimed = writer.succeeds(given);
                    } catch (const std::exception&) {
                        claimed = false;
                    }
                    const bool fits = size < room;
                    QVERIFY2(claimed == fits, qPrintable(QStringLiteral("%1, %2 bytes, %3")
                                                             .arg(QLatin1String(writer.name))
                                                             .arg(size)
                                                             .arg(limited)));
                    cases += !fits;
                    for (const QString& name : {given.target, full.at("copied")})
                        QFile::remove(name);
                }
            }
        }
        qInfo("%d of %d", cases, cases);
    }
};

QTEST_GUILESS_MAIN(FullDiskTest)
#include "FullDiskTest.moc"
