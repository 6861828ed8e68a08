#include "support/TemporaryFolder.h"
#include "support/posix.h"
#include "support/spellings.h"

#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>
#include <Quarn/streams/kelmQFile.h>

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

    void readsAndWritesAsAnyDevice()
    {
        append(m_path, "0123456789");
        File file(m_path);
        QVERIFY(file.open(QIODevice::ReadWrite) && file.read(4) == "0123");
        QVERIFY(file.write("by ") == 3 && file.write(QByteArray("Qt")) == 2);
        QVERIFY(file.setPosition(2) && file.readAll() == "23by Qt9");
        QCOMPARE(StreamUtils::copy(&file, 0, 1, -1), qint64(10));
        QVERIFY(file.setPosition(0) && file.readAll() == "00123by Qt9");
    }

    void readsToTheEndWithoutWaiting()
    {
        const QByteArray longLine = QByteArray(40000, 'x') + '\n';
        const QList<QByteArray> files[]
            = {{}, {"first"}, {longLine.right(16384)}, {"first\n", "\n", longLine, "last"}};
        for (const QList<QByteArray>& lines : files) {
            const QByteArray bytes = lines.join();
            QVERIFY(QFile::resize(m_path, 0) || bytes.isEmpty());
            append(m_path, bytes);
            for (const bool blocking : {false, true}) {
                for (const QIODevice::OpenMode mode : {buffered, unbuffered}) {
                    GrowingFile file(m_path);
                    file.finished = true;
                    file.enableNonBlockingMode(!blocking);
                    QVERIFY(file.open(mode));
                    QIODevice& device = file;
                    QList<QByteArray> read;
                    while (!device.atEnd() && read.size() < 10)
                        read << device.readLine();
                    QCOMPARE(read, lines);
                    QVERIFY(device.readLine().isEmpty() && device.peek(10).isEmpty());
                    QByteArray whole(bytes.size() + 100, '#');
                    QVERIFY(file.setPosition(0));
                    QCOMPARE(file.read(whole.data(), int(whole.size())), int(bytes.size()));
                    QVERIFY(whole.startsWith(bytes) && file.read(whole.data(), 100) == 0);
                    QCOMPARE(file.waits, 0);
                }
            }
        }
    }

    void waitsForGrowth()
    {
        const QString other = m_path + QStringLiteral("2");
        for (const bool lines : {false, true}) {
            for (const QIODevice::OpenMode mode : {buffered, unbuffered}) {
                QFile::remove(m_path);
                append(m_path, "ab");
                GrowingFile file(m_path);
                file.onWait = [&] {
                    if (file.waits < 3) // a file under another name is still there
                        file.waits == 1 ? QFile::rename(m_path, other)
                                        : QFile::rename(other, m_path);
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
            QVERIFY2(file.readable() != closes, by.constData());
            QTRY_COMPARE(file.isOpen(), !closes); // by the event loop after Qt's own read
            QVERIFY2(!closes || (file.open(mode) && file.read(1) == "a"), by.constData());
        };
        for (const QIODevice::OpenMode mode : {buffered, unbuffered})
            for (const bool lines : {false, true})
                for (const char* by :
                     {"switching", "closing", "reopening", "removing", "finishing"})
                    if (hasPosix || by != QByteArray("removing")) // of an open file
                        check(by, mode, lines);
    }

#if QUARN_HAS_POSIX // others have no pipes in folders, and remove no file that is open
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
#endif

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
            file.setErrorString(QStringLiteral("out of paper"));
            QVERIFY(file.ioFailureDetected());
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
        QCOMPARE(source.read(2),
                 QByteArray(hasPosix ? "12" : "b2")); // QFile writes where it is there
    }

    void detectsFailures()
    {
        File file(m_folder->at("none/file"));
        QVERIFY(!file.ioFailureDetected() && !file.open(QIODevice::ReadOnly)
                && file.ioFailureDetected());
        file.setFileName(m_path);
        QVERIFY(file.open(QIODevice::WriteOnly) && !file.ioFailureDetected());
        file.setErrorString(QStringLiteral("out of paper"));
        QVERIFY(file.ioFailureDetected());
        File other(m_path + QChar(QChar::Null)); // which is not that file
        QVERIFY(!other.open(QIODevice::ReadOnly) && other.ioFailureDetected());
    }

private:
    std::unique_ptr<TemporaryFolder> m_folder;
    QString m_path;
};

QTEST_GUILESS_MAIN(KelmQFileTest)
#include "KelmQFileTest.moc"
