#include "support/TemporaryFolder.h"
#include "support/testBytes.h"

#include <Quarn/streams/DeviceStream.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>
#include <Quarn/streams/SubStream.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QSaveFile>
#include <QTest>
#include <QTimer>

using namespace kel;

namespace {

/** Sequential, and without waits of its own, as a network reply. */
class Reply : public QIODevice
{
public:
    Reply() { open(ReadWrite | Unbuffered); }

    QByteArray arrived;
    bool finished = false;
    qint64 unsent = 0;
    using QIODevice::setErrorString;

    void arrive(const QByteArray& bytes)
    {
        arrived += bytes;
        Q_EMIT readyRead();
    }
    void finish()
    {
        finished = true;
        Q_EMIT readChannelFinished();
    }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return arrived.size(); }
    qint64 bytesToWrite() const override { return unsent; }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const auto count = std::min<qint64>(maxSize, arrived.size());
        std::copy_n(arrived.constData(), count, data);
        arrived.remove(0, int(count));
        return count == 0 && finished ? -1 : count;
    }
    qint64 writeData(const char*, qint64 size) override
    {
        unsent += size;
        QTimer::singleShot(0, this, [this] {
            unsent = 0;
            Q_EMIT bytesWritten(1);
        });
        return size;
    }
};

const QByteArray bytes = testBytes(3 << 20);
constexpr char echo[] = "--echo"; // has this program answer every byte

} // namespace

/** Devices as streams: processes, and what has no waits of its own, and what goes away. */
class DeviceStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void talksToAProcess()
    {
        auto process = std::make_unique<QProcess>();
        process->start(QCoreApplication::applicationFilePath(), {QLatin1String(echo)});
        QVERIFY(process->waitForStarted());
        DeviceStream stream(std::move(process));
        QRandomAccessIO source, read;
        const QByteArray text = bytes.toHex(); // the standard library would change other bytes
        source.setData(text);
        QVERIFY(source.open(QIODevice::ReadOnly) && read.open(QIODevice::ReadWrite));
        QVERIFY(stream.streamSize() == -1 && !stream.nonBlocking());
        QCOMPARE(StreamUtils::copy(&source, 0, &stream, 0, 1000), qint64(1000));
        stream.finishIO();
        QCOMPARE(StreamUtils::copy(&stream, &read, -1), qint64(1000));
        QVERIFY(read.data() == text.left(1000) && stream.eofEncountered());
        QVERIFY(!stream.ioFailureDetected() && stream.position() == 2000);

        DeviceStream none(std::make_unique<QProcess>());
        static_cast<QProcess*>(none.device())->start(QStringLiteral("/none"), QStringList());
        char byte;
        QVERIFY(none.read(&byte, 1) <= 0 && none.write("x", 1) <= 0 && none.ioFailureDetected());
    }

    void waitsInAnEventLoop()
    {
        Reply reply;
        DeviceStream stream(&reply);
        char data[9];
        QTimer::singleShot(0, this, [&] { reply.arrive("first"); });
        QCOMPARE(stream.read(data, 9), 5);
        stream.enableNonBlockingMode(true);
        QVERIFY(stream.read(data, 9) == 0 && !stream.eofEncountered());
        stream.enableNonBlockingMode(false);
        QVERIFY(stream.writeBlock(bytes.constData(), 2 << 20) && reply.unsent == 0);
        QVERIFY(stream.write("x", 1) == 1 && reply.unsent == 1);
        stream.flush();
        QCOMPARE(reply.unsent, qint64(0));
        QTimer::singleShot(0, this, [&] { reply.finish(); });
        QVERIFY(stream.read(data, 9) == 0 && stream.eofEncountered());
        QVERIFY(!stream.ioFailureDetected());
        reply.setErrorString(QStringLiteral("The remote host closed the connection"));
        QVERIFY(stream.read(data, 9) == 0 && !stream.ioFailureDetected());
        reply.setErrorString(QStringLiteral("out of paper"));
        QVERIFY(stream.read(data, 9) == -1 && stream.ioFailureDetected());
    }

    void keepsTheOrderOfWhatHasNoPlaces()
    {
        Reply reply;
        DeviceStream stream(&reply);
        QRandomAccessIO read;
        QVERIFY(read.open(QIODevice::ReadWrite));
        reply.arrive("0123456789");
        QCOMPARE(StreamUtils::copy(&stream, 0, &read, 5, 10), qint64(10)); // one pass
        reply.arrive("0123456789");
        QCOMPARE(StreamUtils::copy(&stream, 0, &read, 0, 10), qint64(0));
        QVERIFY(stream.ioFailureDetected() && stream.setPosition(10)
                && !stream.ioFailureDetected());
        char data[10];
        QVERIFY(stream.readBlock(data, 10));
        reply.arrive("0123456789");
        SubStream part(&stream, 20, 4);
        QVERIFY(part.streamSize() == -1 && !part.eofEncountered());
        QVERIFY(StreamUtils::copy(&part, 0, &read, 0, -1) == 4 && part.eofEncountered());
    }

    void leavesCommitToItsOwner()
    {
        const TemporaryFolder folder;
        QSaveFile file(folder.at("f"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        DeviceStream stream(&file);
        QVERIFY(stream.write("x", 1) == 1);
        stream.finishIO();
        QVERIFY(!stream.ioFailureDetected() && file.commit() && QFile::exists(file.fileName()));
    }

    void deviceGoesAway()
    {
        char byte;
        for (const char* how : {"deleted", "closed"}) {
            auto reply = std::make_unique<Reply>();
            DeviceStream stream(reply.get());
            QTimer::singleShot(0, this, [&] { *how == 'd' ? reply.reset() : reply->close(); });
            QCOMPARE(stream.read(&byte, 1), *how == 'd' ? -1 : 0);
            QVERIFY2(stream.write("x", 1) == (*how == 'd' ? -1 : 0), how);
            QVERIFY2(stream.ioFailureDetected() == (*how == 'd') && stream.eofEncountered(), how);
            QVERIFY2(!stream.readable() && !stream.writable(), how);
            QVERIFY2(stream.read(&byte, 1) == (*how == 'd' ? -1 : 0) && stream.position() == 0,
                     how);
            QVERIFY2(stream.setPosition(0) == (*how == 'c'), how);
            QCOMPARE(stream.streamSize(), *how == 'd' ? 0 : -1);
            stream.flush();
            stream.finishIO();
        }
        auto owned = std::make_unique<QBuffer>();
        DeviceStream closed(owned.get());
        QVERIFY(!closed.setPosition(0) && owned->open(QIODevice::ReadWrite));
        QVERIFY(!closed.setPosition(-1) && closed.write("x", 1) == -1 && closed.setPosition(0)
                && closed.write("x", 1) == 1);
        const QPointer<QIODevice> watched = owned.get();
        delete new DeviceStream(std::move(owned));
        QVERIFY(!watched);
    }
};

int main(int argc, char** argv)
{
    if (argc > 1 && qstrcmp(argv[1], echo) == 0) {
        QFile input, output;
        const bool open
            = input.open(stdin, QIODevice::ReadOnly) && output.open(stdout, QIODevice::WriteOnly);
        return open && output.write(input.readAll()) >= 0 ? 0 : 1;
    }
    const QCoreApplication application(argc, argv);
    DeviceStreamTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "DeviceStreamTest.moc"
