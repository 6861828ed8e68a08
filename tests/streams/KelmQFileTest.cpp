#include "support/TestRegistry.h"
#include "support/testBytes.h"

#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>
#include <Quarn/streams/kelmQFile.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <thread>

using namespace kel;

namespace {

class File : public kelmQFile
{
public:
    using kelmQFile::kelmQFile;
    void setThroughputStats(quint64, quint64, quint64, quint64) override { }
};

/** A file that another party is said to be writing until m_finished is set. */
class GrowingFile : public File
{
public:
    using File::File;

    std::function<void(int wait)> onWait;
    bool finished = false;
    int waits = 0;
    int waitedMsecs = 0;

    bool atEnd() const override { return finished && File::atEnd(); }
    bool waitForReadyRead(int msecs) override
    {
        waitedMsecs = msecs;
        onWait(++waits);
        return true;
    }
};

void append(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

} // namespace

/** Files as streams: both faces, blocking reads, far positions and failures. */
class KelmQFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void followsTheOpenMode_data();
    void followsTheOpenMode();
    void readsWhatWasWritten();
    void readsLines_data();
    void readsLines();
    void endsAtOnceAtTheEnd_data();
    void endsAtOnceAtTheEnd();
    void waitsForGrowth_data();
    void waitsForGrowth();
    void waitingReadIsEnded_data();
    void waitingReadIsEnded();
    void closesAfterAReadOfQt();
    void endOfAPipeEndsABlockingRead();
    void worksBeyond4GiB();
    void detectsFailures();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_path;
};

void KelmQFileTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_path = m_folder->filePath(QStringLiteral("file"));
}

void KelmQFileTest::followsTheOpenMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("readable");
    QTest::addColumn<bool>("writable");
    QTest::newRow("closed") << int(QIODevice::NotOpen) << false << false;
    QTest::newRow("read") << int(QIODevice::ReadOnly) << true << false;
    QTest::newRow("write") << int(QIODevice::WriteOnly) << false << true;
    QTest::newRow("both") << int(QIODevice::ReadWrite) << true << true;
}

void KelmQFileTest::followsTheOpenMode()
{
    QFETCH(int, mode);
    QFETCH(bool, readable);
    QFETCH(bool, writable);
    append(m_path, "x");
    File file(m_path);
    QVERIFY(file.nonBlocking());
    QCOMPARE(mode != 0 && file.open(QIODevice::OpenMode(mode)), mode != 0);
    QCOMPARE(file.readable(), readable);
    QCOMPARE(file.writable(), writable);
    file.finishIO();
    QVERIFY(!file.readable() && !file.writable() && !file.isOpen());
}

void KelmQFileTest::readsWhatWasWritten()
{
    const QByteArray bytes = testBytes(100000);
    QRandomAccessIO memory;
    QVERIFY(memory.open(QIODevice::ReadWrite));
    File file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.eofEncountered());
    QVERIFY(file.writeBlock(bytes.constData(), int(bytes.size())));
    file.flush();
    QCOMPARE(QFileInfo(m_path).size(), qint64(bytes.size()));
    QVERIFY(file.setPosition(0));
    QVERIFY(!file.eofEncountered());

    QCOMPARE(StreamUtils::copy(&file, &memory, -1), qint64(bytes.size()));
    QCOMPARE(memory.data(), bytes);
    QVERIFY(file.eofEncountered());
    QCOMPARE(StreamUtils::copy(&file, 0, 10, -1), qint64(bytes.size()));
    file.flush();
    QVERIFY(file.setPosition(0));
    QIODevice& device = file;
    QCOMPARE(device.readAll(), bytes.left(10) + bytes);
}

void KelmQFileTest::readsLines_data()
{
    QTest::addColumn<bool>("blocking");
    QTest::addColumn<bool>("unbuffered");
    QTest::newRow("not blocking") << false << false;
    QTest::newRow("blocking") << true << false;
    QTest::newRow("blocking, unbuffered") << true << true;
}

void KelmQFileTest::readsLines()
{
    QFETCH(bool, blocking);
    QFETCH(bool, unbuffered);
    const QByteArray longLine(40000, 'x');
    append(m_path, "first\nsecond\n\n" + longLine + "\nlast");
    File file(m_path);
    file.enableNonBlockingMode(!blocking);
    QVERIFY(file.open(unbuffered ? QIODevice::ReadOnly | QIODevice::Unbuffered
                                 : QIODevice::OpenMode(QIODevice::ReadOnly)));
    QIODevice& device = file;
    QList<QByteArray> lines;
    while (!device.atEnd() && lines.size() < 10)
        lines << device.readLine();
    const QList<QByteArray> expected
        = {"first\n", "second\n", "\n", longLine + "\n", QByteArray("last")};
    QCOMPARE(lines, expected);
    QVERIFY(device.readLine().isEmpty());
}

void KelmQFileTest::endsAtOnceAtTheEnd_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("size");
    for (const int size : {0, 5, 16384, 20000}) {
        QTest::addRow("buffered, %d bytes", size) << int(QIODevice::ReadOnly) << size;
        QTest::addRow("unbuffered, %d bytes", size)
            << int(QIODevice::ReadOnly | QIODevice::Unbuffered) << size;
    }
}

void KelmQFileTest::endsAtOnceAtTheEnd()
{
    QFETCH(int, mode);
    QFETCH(int, size);
    const QByteArray bytes = testBytes(size);
    append(m_path, bytes);
    File file(m_path);
    file.enableNonBlockingMode(false);
    QVERIFY(file.open(QIODevice::OpenMode(mode)));
    QElapsedTimer elapsed;
    elapsed.start();
    QByteArray read(size + 100, '#');
    QCOMPARE(file.read(read.data(), size + 100), size);
    QCOMPARE(read.left(size), bytes);
    QCOMPARE(file.read(read.data(), 100), 0);
    QIODevice& device = file;
    QVERIFY(device.peek(10).isEmpty());
    QVERIFY(device.atEnd());
    QVERIFY2(elapsed.elapsed() < 1000, "waited at the end of an ordinary file");
}

void KelmQFileTest::waitsForGrowth_data()
{
    QTest::addColumn<bool>("lines");
    QTest::addColumn<bool>("unbuffered");
    QTest::newRow("read") << false << false;
    QTest::newRow("read, unbuffered") << false << true;
    QTest::newRow("line") << true << false;
    QTest::newRow("line, unbuffered") << true << true;
}

void KelmQFileTest::waitsForGrowth()
{
    QFETCH(bool, lines);
    QFETCH(bool, unbuffered);
    append(m_path, "ab");
    GrowingFile file(m_path);
    file.enableNonBlockingMode(false);
    file.onWait = [&](int wait) {
        if (wait % 2 == 0)
            append(m_path, QByteArray("c\n").mid(wait / 2 - 1, 1));
        file.finished = wait == 5;
    };
    QVERIFY(file.open(unbuffered ? QIODevice::ReadOnly | QIODevice::Unbuffered
                                 : QIODevice::OpenMode(QIODevice::ReadOnly)));
    QIODevice& device = file;
    QByteArray read;
    if (lines) {
        read = device.readLine(); // whole, although it comes in three pieces
    } else {
        char piece[3];
        for (int count; read.size() < 4 && (count = file.read(piece, 3)) > 0;)
            read.append(piece, count);
    }
    QCOMPARE(read, QByteArray("abc\n"));
    QCOMPARE(file.waits, 4);
    QCOMPARE(file.waitedMsecs, 5000);
    char byte = 0;
    QCOMPARE(file.read(&byte, 1), 0);
    QCOMPARE(file.waits, 5);
}

void KelmQFileTest::waitingReadIsEnded_data()
{
    QTest::addColumn<QString>("by");
    QTest::addColumn<bool>("unbuffered");
    for (const char* const by : {"switching", "closing", "reopening", "removing", "finishing"}) {
        QTest::addRow("%s", by) << QString::fromLatin1(by) << false;
        QTest::addRow("%s, unbuffered", by) << QString::fromLatin1(by) << true;
    }
}

void KelmQFileTest::waitingReadIsEnded()
{
    QFETCH(QString, by);
    QFETCH(bool, unbuffered);
    append(m_path, "ab");
    GrowingFile file(m_path);
    const auto mode = unbuffered ? QIODevice::ReadOnly | QIODevice::Unbuffered
                                 : QIODevice::OpenMode(QIODevice::ReadOnly);
    file.enableNonBlockingMode(false);
    file.onWait = [&](int wait) {
        QVERIFY2(wait < 100, "the read goes on");
        if (wait < 3)
            return;
        if (by == QStringLiteral("switching"))
            std::thread([&] { file.enableNonBlockingMode(true); }).join();
        else if (by == QStringLiteral("closing"))
            file.close();
        else if (by == QStringLiteral("removing"))
            QVERIFY(QFile::remove(m_path));
        else if (by == QStringLiteral("finishing"))
            file.finished = true;
        else {
            file.close();
            QVERIFY(!file.open(mode));
        }
        if (wait == 99)
            file.finished = true;
    };
    QVERIFY(file.open(mode));
    char data[10];
    QCOMPARE(file.read(data, 2), 2);
    QCOMPARE(file.read(data, 10), 0);
    QCOMPARE(file.waits, 3);
    QCOMPARE(file.isOpen(), by != QStringLiteral("closing") && by != QStringLiteral("reopening"));
}

void KelmQFileTest::closesAfterAReadOfQt()
{
    append(m_path, "ab");
    GrowingFile file(m_path);
    file.enableNonBlockingMode(false);
    file.onWait = [&](int) { file.close(); };
    QVERIFY(file.open(QIODevice::ReadOnly));
    QIODevice& device = file;
    QCOMPARE(device.read(10), QByteArray("ab"));
    QVERIFY(device.read(10).isEmpty());
    QVERIFY(!file.readable());
    QVERIFY(device.readLine().isEmpty());
    QTRY_VERIFY(!file.isOpen());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(device.read(1), QByteArray("a"));
}

void KelmQFileTest::endOfAPipeEndsABlockingRead()
{
    QProcess shell;
    shell.start(QStringLiteral("mkfifo"), {m_path});
    QVERIFY(shell.waitForFinished() && shell.exitCode() == 0);
    std::thread writer([this] { append(m_path, "through the pipe"); });
    File file(m_path);
    file.enableNonBlockingMode(false);
    const bool opened = file.open(QIODevice::ReadOnly); // waits for the writer
    writer.join();
    QVERIFY(opened);
    std::vector<unsigned char> data;
    file.readAll(data);
    QCOMPARE(QByteArray(reinterpret_cast<const char*>(data.data()), int(data.size())),
             QByteArray("through the pipe"));
}

void KelmQFileTest::worksBeyond4GiB()
{
    const qint64 far = (qint64(5) << 30) + 3;
    File file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setPosition(far));
    QVERIFY(file.writeBlock("far out", 7));
    QCOMPARE(file.streamSize(), far + 7);
    QCOMPARE(StreamUtils::copy(&file, far, far + 4, -1), qint64(7));
    char data[11];
    QVERIFY(file.setPosition(far));
    QVERIFY(file.readBlock(data, 11));
    QCOMPARE(QByteArray(data, 11), QByteArray("far far out"));
    QCOMPARE(file.position(), far + 11);
    QVERIFY(file.eofEncountered());
}

void KelmQFileTest::detectsFailures()
{
    File file(m_folder->filePath(QStringLiteral("none/file")));
    QVERIFY(!file.ioFailureDetected());
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QVERIFY(file.ioFailureDetected());

    class Named : public File
    {
    public:
        using File::File;
        using QIODevice::setErrorString;
    } named(m_path);
    QVERIFY(named.open(QIODevice::WriteOnly));
    QVERIFY(!named.ioFailureDetected());
    named.setErrorString(QStringLiteral("out of paper"));
    QVERIFY(named.ioFailureDetected());
}

QUARN_TEST(KelmQFileTest)
#include "KelmQFileTest.moc"
