#include "support/TemporaryFolder.h"
#include "support/spellings.h"
#include "support/testBytes.h"

#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>
#include <Quarn/streams/kelmQFile.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <functional>
#include <thread>

using namespace kel;

namespace {

class File : public kelmQFile
{
public:
    using kelmQFile::kelmQFile;
    using QIODevice::setErrorString;
    void setThroughputStats(quint64, quint64, quint64, quint64) override { }
};

/** A file that another party is said to be writing until finished is set. */
class GrowingFile : public File
{
public:
    explicit GrowingFile(const QString& name) : File(name) { enableNonBlockingMode(false); }

    std::function<void()> onWait = [] {};
    std::function<void()> onSearch = [] {}; // for the name, to see whether the file is still there
    bool finished = false;
    int waits = 0;

    bool atEnd() const override { return finished && File::atEnd(); }
    QString fileName() const override
    {
        onSearch();
        return File::fileName();
    }
    bool waitForReadyRead(int msecs) override
    {
        if (++waits > 99 || msecs != 5000)
            qFatal("the read goes on and on");
        onWait();
        return true;
    }
};

void append(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append) || file.write(bytes) != bytes.size())
        qFatal("cannot append");
}

static_assert(keepsEverySpelling<File>);

const QIODevice::OpenMode buffered = QIODevice::ReadOnly;
const QIODevice::OpenMode unbuffered = QIODevice::ReadOnly | QIODevice::Unbuffered;

} // namespace

/** Files as streams: both faces, blocking reads, far positions and failures. */
class KelmQFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<TemporaryFolder>();
        m_path = m_folder->at("file");
    }

    void readsWhatWasWritten()
    {
        const QByteArray bytes = testBytes(100000);
        File file(m_path);
        QVERIFY(file.nonBlocking() && !file.readable() && !file.writable());
        QVERIFY(file.open(QIODevice::ReadWrite) && file.readable() && file.writable());
        QVERIFY(file.eofEncountered());
        QVERIFY(file.writeBlock(bytes.constData(), int(bytes.size())));
        file.flush();
        QCOMPARE(QFileInfo(m_path).size(), qint64(bytes.size()));

        QRandomAccessIO memory;
        QVERIFY(memory.open(QIODevice::ReadWrite));
        QVERIFY(file.setPosition(0) && !file.eofEncountered());
        QCOMPARE(StreamUtils::copy(&file, &memory, -1), qint64(bytes.size()));
        QVERIFY(memory.data() == bytes && file.eofEncountered());
        QCOMPARE(StreamUtils::copy(&file, 0, 10, -1), qint64(bytes.size()));
        QVERIFY(file.setPosition(0));
        QVERIFY(file.read(9) == bytes.left(9));
        QVERIFY(file.readAll() == bytes.mid(9, 1) + bytes);
        QVERIFY(file.write("by ") == 3 && file.write(QByteArray("Qt")) == 2);
        QVERIFY(file.setPosition(file.size() - 5) && file.readAll() == "by Qt");
        file.finishIO();
        QVERIFY(!file.isOpen() && !file.readable());
    }

    void readsLines()
    {
        const QByteArray longLine = QByteArray(40000, 'x') + '\n';
        append(m_path, "first\nsecond\n\n" + longLine + "last");
        const QList<QByteArray> expected
            = {"first\n", "second\n", "\n", longLine, QByteArray("last")};
        for (const bool blocking : {false, true}) {
            for (const QIODevice::OpenMode mode : {buffered, unbuffered}) {
                File file(m_path);
                file.enableNonBlockingMode(!blocking);
                QVERIFY(file.open(mode));
                QIODevice& device = file;
                QList<QByteArray> lines;
                while (!device.atEnd() && lines.size() < 10)
                    lines << device.readLine();
                QCOMPARE(lines, expected);
                QVERIFY(device.readLine().isEmpty());
            }
        }
    }

    void endsAtOnceAtTheEnd()
    {
        QElapsedTimer elapsed;
        elapsed.start();
        for (const int size : {0, 5, 16384, 20000}) {
            const QByteArray bytes = testBytes(size);
            QVERIFY(QFile::resize(m_path, 0) || size == 0);
            append(m_path, bytes);
            for (const QIODevice::OpenMode mode : {buffered, unbuffered}) {
                File file(m_path);
                file.enableNonBlockingMode(false);
                QVERIFY(file.open(mode));
                QByteArray read(size + 100, '#');
                QCOMPARE(file.read(read.data(), size + 100), size);
                QVERIFY(read.startsWith(bytes));
                QCOMPARE(file.read(read.data(), 100), 0);
                QIODevice& device = file;
                QVERIFY(device.peek(10).isEmpty() && device.atEnd());
            }
        }
        QVERIFY2(elapsed.elapsed() < 3000, "waited at the end of an ordinary file");
    }

    void waitsForGrowth()
    {
        for (const bool lines : {false, true}) {
            for (const QIODevice::OpenMode mode : {buffered, unbuffered}) {
                QFile::remove(m_path);
                append(m_path, "ab");
                GrowingFile file(m_path);
                file.onWait = [&] {
                    if (file.waits % 2 == 0)
                        append(m_path, QByteArray("c\n").mid(file.waits / 2 - 1, 1));
                    file.finished = file.waits == 5;
                };
                QVERIFY(file.open(mode));
                QByteArray read;
                char piece[3];
                if (lines) // whole, although it comes in three pieces
                    read = static_cast<QIODevice&>(file).readLine();
                else
                    while (read.size() < 4)
                        read.append(piece, file.read(piece, 3));
                QCOMPARE(read, QByteArray("abc\n"));
                QCOMPARE(file.waits, 4);
                QCOMPARE(file.read(piece, 1), 0);
                QCOMPARE(file.waits, 5);
            }
        }
    }

    void waitingReadIsEnded()
    {
        const auto check = [this](const QByteArray& by, QIODevice::OpenMode mode, bool lines) {
            const bool closes = by == "closing" || by == "reopening";
            append(m_path, "ab");
            GrowingFile file(m_path);
            file.onWait = [&] {
                if (file.waits < 3)
                    return;
                if (by == "switching")
                    std::thread([&] { file.enableNonBlockingMode(true); }).join();
                if (by == "removing")
                    QFile::remove(m_path);
                if (closes)
                    file.close();
                if (by == "reopening")
                    QVERIFY(!file.open(mode)); // not in the middle of a read
                file.finished = by == "finishing";
            };
            char data[10];
            QVERIFY2(file.open(mode) && file.setPosition(file.size()), by.constData());
            QCOMPARE(lines ? int(file.readLine().size()) : file.read(data, 10), 0);
            QVERIFY2(file.waits == 3, by.constData());
            QTRY_COMPARE(file.isOpen(), !closes); // by the event loop after Qt's own read
        };
        for (const QIODevice::OpenMode mode : {buffered, unbuffered})
            for (const bool lines : {false, true})
                for (const char* by :
                     {"switching", "closing", "reopening", "removing", "finishing"})
                    check(by, mode, lines);
    }

    void readsWhatCameRightBeforeTheRemoval()
    {
        append(m_path, "ab");
        GrowingFile file(m_path);
        QVERIFY(file.open(unbuffered) && file.read(2) == "ab");
        file.onSearch = [this] {
            append(m_path, "last");
            QFile::remove(m_path);
        };
        char data[9];
        QCOMPARE(file.read(data, 9), 4);
    }

    void closesAfterAReadOfQt()
    {
        append(m_path, "ab");
        GrowingFile file(m_path);
        file.onWait = [&] { file.close(); };
        QVERIFY(file.open(QIODevice::ReadOnly));
        QIODevice& device = file;
        QCOMPARE(device.read(10), QByteArray("ab"));
        QVERIFY(device.read(10).isEmpty());
        QVERIFY(!file.readable());
        QTRY_VERIFY(!file.isOpen());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(device.read(1), QByteArray("a"));
    }

    void endOfAPipeEndsABlockingRead()
    {
        QCOMPARE(QProcess::execute(QStringLiteral("mkfifo"), {m_path}), 0);
        std::thread writer([this] { append(m_path, "through the pipe"); });
        File file(m_path);
        file.enableNonBlockingMode(false);
        const bool opened = file.open(QIODevice::ReadOnly); // waits for the writer
        writer.join();
        QVERIFY(opened);
        QRandomAccessIO memory;
        QVERIFY(memory.open(QIODevice::ReadWrite));
        QCOMPARE(StreamUtils::copy(&file, 0, &memory, 0, 100), qint64(16));
        QVERIFY(memory.data() == "through the pipe" && !file.ioFailureDetected());
    }

    void failedSeekIsNotPassedOver()
    {
        append(m_path, "0123456789");
        for (const QIODevice::OpenMode mode : {QIODevice::OpenMode(), unbuffered}) {
            File file(m_path);
            QVERIFY(file.open(QIODevice::ReadWrite | mode) && file.read(2) == "01");
            QVERIFY(!file.setPosition(-1));
            file.unsetError();
            char byte = 0;
            QVERIFY(file.ioFailureDetected() && file.position() == 2);
            QVERIFY(file.read(&byte, 1) == -1 && file.write("x", 1) == -1);
            QVERIFY(file.peek(1).isEmpty() && file.readLine().isEmpty());
            QVERIFY(file.setPosition(2) && !file.ioFailureDetected());
            QCOMPARE(file.readAll(), QByteArray("23456789"));
        }
    }

    void findsItsPlaceThatOthersMove()
    {
        append(m_path, "0123456789");
        File appended(m_path);
        QVERIFY(appended.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered));
        QVERIFY(appended.setPosition(0) && appended.write("ab") == 2 && appended.setPosition(2));
        QCOMPARE(appended.read(2), QByteArray("23"));

        File source(m_path), destination(m_path); // of one descriptor
        QVERIFY(source.open(appended.handle(), unbuffered));
        QVERIFY(destination.open(appended.handle(), QIODevice::WriteOnly | QIODevice::Unbuffered));
        QVERIFY(source.setPosition(1) && destination.setPosition(0) && source.setPosition(1));
        QCOMPARE(source.read(2), QByteArray("12"));
    }

    void detectsFailures()
    {
        File file(m_folder->at("none/file"));
        QVERIFY(!file.ioFailureDetected());
        QVERIFY(!file.open(QIODevice::ReadOnly) && file.ioFailureDetected());
        file.setFileName(m_path);
        QVERIFY(file.open(QIODevice::WriteOnly) && !file.ioFailureDetected());
        file.setErrorString(QStringLiteral("out of paper"));
        QVERIFY(file.ioFailureDetected());
    }

private:
    std::unique_ptr<TemporaryFolder> m_folder;
    QString m_path;
};

QTEST_GUILESS_MAIN(KelmQFileTest)
#include "KelmQFileTest.moc"
