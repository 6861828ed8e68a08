#include "rounds.h"

#include "support/TemporaryFolder.h"
#include "support/Thread.h"
#include "support/testBytes.h"

#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/access/AsyncFile.h>
#include <Quarn/access/KelFileAccess.h>
#include <Quarn/companion/FileException.h>
#include <Quarn/companion/kelmBuffer.h>
#include <Quarn/filejobs/CopyJob.h>
#include <Quarn/filejobs/FileOperations.h>
#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/fileutils/TempDir.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureSigner.h>
#include <Quarn/signature/SignatureVerifier.h>
#include <Quarn/streams/MappedFileStream.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/SafeFile.h>
#include <Quarn/streams/StreamUtils.h>

#include <list>

using namespace kel;

namespace {

const QByteArray& contents()
{
    static const QByteArray bytes = testBytes(300000);
    return bytes;
}

/** Three readers in threads of their own get what a producer writes to \a stream meanwhile. */
template <typename Stream>
bool producedAndRead(const boost::shared_ptr<Stream>& stream)
{
    std::list<QByteArray> read(3);
    {
        std::list<Thread> threads;
        for (QByteArray& bytes : read) {
            threads.emplace_back([&bytes, stream] {
                const auto reader = Stream::createReaderInterface(stream, true);
                char part[7000];
                for (int count = 1; count > 0;) {
                    count = reader->read(part, int(sizeof part));
                    bytes.append(part, std::max(count, 0));
                }
            });
            threads.back().start();
        }
        for (int at = 0; at < contents().size(); at += 5000)
            stream->writeBlock(contents().constData() + at, 5000);
        stream->finishIO();
    }
    return read == std::list<QByteArray>(3, contents());
}

bool multiuser()
{
    MultiUserSpool::Settings settings;
    settings.memoryLimit = 65536;
    return producedAndRead(boost::shared_ptr<MultiUserBuffer>(new MultiUserBuffer))
           && producedAndRead(boost::shared_ptr<MultiUserSpool>(new MultiUserSpool(settings)));
}

bool streams()
{
    const TemporaryFolder folder;
    SafeFile file(folder.at("file"));
    QByteArray bytes = contents();
    QRandomAccessIO memory(&bytes);
    if (!memory.open(QIODevice::ReadWrite) || !file.open(QIODevice::WriteOnly)
        || StreamUtils::copyFast(&memory, 0, &file, 0, -1) != bytes.size() || !file.commit())
        return false;
    MappedFileStream mapped(folder.at("file"));
    const boost::shared_ptr<kelmBuffer> read = mapped.readAll(-1);
    return StreamUtils::copy(&memory, 10, 5000, 100000) == 100000
           && folder.contents("file") == contents() && read->size() == contents().size();
}

bool access()
{
    const TemporaryFolder folder;
    AsyncFile file(folder.at("file"));
    (void)file.open(QIODevice::ReadWrite);
    (void)file.write(contents());
    (void)file.seek(0);
    const QByteArray read = file.read(contents().size()).result().data;

    KelFileAccess threaded(folder.at("file"));
    QByteArray target;
    const bool opened = threaded.open(QIODevice::ReadOnly, false);
    threaded.open(QIODevice::ReadOnly, true); // from now on by its thread
    threaded.start();
    threaded.read(target, 10000);
    threaded.stop();
    threaded.wait();

    AccessTokenKeeper tokens;
    (void)tokens.getLoggedOnToken(L"scope", L"user", L"password");
    tokens.clear();
    return read == contents() && opened && target == contents().left(10000);
}

bool signature()
{
    static const SignatureSigner signer = SignatureSigner::generate(SignatureScheme::EcdsaSha256);
    const QByteArray signature = signer.sign(contents());
    SignatureDigest digest(QCryptographicHash::Sha256);
    const QByteArray pem = signer.publicKey().toPem();
    digest.setPublicKey(pem.constData(), int(pem.size()));
    digest.setSignature(signature);
    digest.digest(contents().constData(), int(contents().size()));
    bool refused = false;
    try {
        PublicKey::fromPem(pem.left(100));
    } catch (const SignatureException&) {
        refused = true;
    }
    const SignatureVerifier verifier(PublicKey::fromPem(pem), SignatureScheme::EcdsaSha256);
    return refused && digest.verify() && verifier.verify(contents(), signature)
           && !verifier.verify(contents(), signature.left(20));
}

bool fileutils()
{
    const TempDir folder;
    const QString path = folder.filePath(QStringLiteral("file.txt"));
    FileUtils::saveText(QStringLiteral("text"), path);
    FileUtils::comment(path, QStringLiteral("comment"));
    const QString other
        = FileUtils::uniqueFileName(QDir(folder.path()), QStringLiteral("file.txt"), "%d", false);
    bool missing = false;
    try {
        FileUtils::readText(folder.filePath(other));
    } catch (const FileException&) {
        missing = true;
    }
    return missing && FileUtils::copy(path, folder.filePath(other), 100, 0) == 4
           && FileUtils::findFiles(QDir(folder.path()), QStringLiteral("*.txt"), true, QDir::Name)
                      .size()
                  == 2
           && FileUtils::equalsText(path, QStringLiteral("text")) && FileUtils::erase(path);
}

bool filejobs()
{
    const TempDir folder;
    const QDir dir(folder.path());
    dir.mkpath(QStringLiteral("from/sub/deeper"));
    dir.mkpath(QStringLiteral("to"));
    FileUtils::saveBytes(contents(), dir.filePath(QStringLiteral("from/sub/file")));
    CopyJob job({dir.filePath(QStringLiteral("from"))}, dir.filePath(QStringLiteral("to")));
    job.start();
    return job.waitForFinished() && job.result().ok()
           && FileOperations::remove({dir.filePath(QStringLiteral("to"))}).ok();
}

} // namespace

const std::vector<Round>& rounds()
{
    static const std::vector<Round> all{{"multiuser", multiuser}, {"streams", streams},
                                        {"access", access},       {"signature", signature},
                                        {"fileutils", fileutils}, {"filejobs", filejobs}};
    return all;
}
