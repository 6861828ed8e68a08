#include "support/TemporaryFolder.h"
#include "support/TestStream.h"
#include "support/posix.h"
#include "support/spellings.h"

#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/StreamUtils.h>

#include <QProcess>
#include <QTest>

#include <functional>
#include <thread>

using namespace kel;
using End = FileStream::FollowEnd;

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

static_assert(keepsEverySpelling<File> && keepsEverySpelling<FileStream>);

const QIODevice::OpenMode buffered = QIODevice::ReadOnly;
const QIODevice::OpenMode unbuffered = QIODevice::ReadOnly | QIODevice::Unbuffered;

} // namespace

/** Files as streams: kelmQFile, and FileStream, which is one. */
class FileStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<TemporaryFolder>();
        m_path = m_folder->at("file");
    }

    void readsToTheEndWithoutWaiting()
    {
        const QByteArray longLine = QByteArray(40000, 'x') + '\n';
        const QList<QByteArray> files[]
            = {{}, {"first"}, {longLine.right(16384)}, {"first\n", "\n", longLine, "last"}};
        for (const QList<QByteArray>& lines : files) {
            const QByteArray bytes = lines.join();
            m_folder->write("file", bytes);
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
                m_folder->write("file", "ab");
                GrowingFile file(m_path);
                file.onWait = [&] {
                    if (file.waits < 3) // a file under another name is still there
                        file.waits == 1 ? QFile::rename(m_path, other)
                                        : QFile::rename(other, m_path);
                    if (file.waits % 2 == 0)
                        append(QByteArray("c\n").mid(file.waits / 2 - 1, 1));
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
            m_folder->write("file", "ab");
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
        append("ab");
        GrowingFile file(m_path);
        QVERIFY(file.open(unbuffered) && file.read(2) == "ab");
        file.onSearch = [this] {
            append("last");
            QFile::remove(m_path);
        };
        char data[9];
        QCOMPARE(file.read(data, 9), 4);
    }

    void endOfAPipeEndsABlockingRead()
    {
        QCOMPARE(QProcess::execute(QStringLiteral("mkfifo"), {m_path}), 0);
        std::thread writer([this] { append("through the pipe"); });
        File file(m_path);
        file.enableNonBlockingMode(false);
        const bool opened = file.open(QIODevice::ReadOnly); // waits for the writer
        writer.join();
        QVERIFY(opened);
        TestStream memory;
        QCOMPARE(StreamUtils::copy(&file, 0, &memory, 0, 100), qint64(16));
        QVERIFY(memory.bytes == "through the pipe" && !file.ioFailureDetected());
    }
#endif

    void failedSeekIsNotPassedOver()
    {
        append("0123456789");
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
        append("0123456789");
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

    void tellsWhyItIsNotOpen()
    {
        append("x");
        for (const QString& path : {m_folder->at("none"), m_folder->path(), m_path + QChar(0)}) {
            FileStream file(path, QIODevice::ReadOnly);
            QVERIFY2(!file.isOpen() && file.ioFailureDetected(), qPrintable(path));
            QVERIFY(file.failureText().startsWith(path + QStringLiteral(": ")));
            QVERIFY(!file.follow());
            File plain(path);
            QVERIFY(!plain.open(QIODevice::ReadOnly) && plain.ioFailureDetected());
            plain.setFileName(m_path);
            QVERIFY(plain.open(QIODevice::ReadOnly) && !plain.ioFailureDetected());
        }
        QVERIFY(FileStream(m_path, QIODevice::ReadOnly).failureText().isEmpty());
        QVERIFY(!FileStream(m_path, QIODevice::WriteOnly).follow());
    }

    void keepsFigures()
    {
        quint64 read, written, readNsecs, writeNsecs;
        FileStream file(m_path, QIODevice::ReadWrite);
        const auto get
            = [&] { return file.getThroughputStats(read, written, readNsecs, writeNsecs); };
        QVERIFY(file.write(QByteArray(100, 'x')) == 100 && file.setPosition(0));
        QVERIFY(file.readAll().size() == 100 && get());
        QVERIFY(read == 100 && written == 100 && readNsecs > 0 && writeNsecs > 0);
        FileStream copy(m_folder->at("copy"), QIODevice::WriteOnly);
        QVERIFY(StreamUtils::copyFast(&file, 0, &copy, 0, -1) == 100 && get() && read == 200);
        file.setThroughputStats(0, 1, 2, 3);
        QVERIFY(get() && read == 0 && written == 1 && readNsecs == 2 && writeNsecs == 3);
        QVERIFY(copy.getThroughputStats(read, written, readNsecs, writeNsecs) && written == 100);
    }

    void followsUntilItEnds()
    {
        const auto remove = [this] { append("last"), QFile::remove(m_path); };
        const struct
        {
            const char* name;
            int quietMsecs;
            std::function<void(FileStream&)> act; // on another thread, while the read waits
            QByteArray read;
            End end;
        } cases[] = {
            {"quiet", 1, [](FileStream&) {}, "first ", End::Quiet},
            {"removed", -1, [&](FileStream&) { remove(); }, "first last", End::Removed},
            {"replaced", -1, [&](FileStream&) { remove(), append("other"); }, "first last",
             End::Removed},
            {"cut short", -1, [this](FileStream&) { QFile::resize(m_path, 2); }, "first ",
             End::CutShort},
            {"cancelled", -1, [](FileStream& file) { file.cancel(); }, "first ", End::Cancelled},
            {"cancelled before", -1, nullptr, "first ", End::Cancelled},
            {"renamed, then removed", -1,
             [&](FileStream&) {
                 QFile::rename(m_path, m_folder->at("renamed"));
                 m_folder->write("renamed", "second last", QIODevice::Append);
                 QFile::remove(m_folder->at("renamed"));
             },
             "first second last", End::Removed},
        };
        for (const auto& c : cases) {
            if (!hasPosix && c.end == End::Removed)
                continue; // what is open stays there
            for (const QIODevice::OpenMode mode : {buffered, unbuffered}) {
                init();
                append("first ");
                FileStream file(m_path, mode);
                if (!c.act)
                    file.cancel();
                QVERIFY(file.follow(c.quietMsecs) && !file.atEnd());
                QByteArray read = file.read(6);
                QVERIFY2(read == "first " && (file.followEnd() == End::None || !c.act), c.name);
                std::thread other([&] { c.act ? c.act(file) : void(); });
                while (!file.atEnd() && read.size() < 100)
                    read += file.read(100);
                other.join();
                QCOMPARE(QByteArray(c.name) + read, c.name + c.read);
                QVERIFY2(file.followEnd() == c.end, c.name);
                QVERIFY2(c.quietMsecs < 0 || !file.waitForReadyRead(-1), c.name);
                char byte;
                const bool fails = c.end == End::CutShort;
                QVERIFY2(file.read(&byte, 1) == (fails ? -1 : 0), c.name);
                QVERIFY2(file.ioFailureDetected() == fails, c.name);
                if (fails) // and begins anew
                    QVERIFY(file.setPosition(0) && file.read(2) == "fi" && file.atEnd() == false);
                file.close();
                QVERIFY(file.followEnd() == End::None);
            }
        }
    }

private:
    void append(const QByteArray& bytes)
    {
        m_folder->write("file", bytes, QIODevice::Append);
    }

    std::unique_ptr<TemporaryFolder> m_folder;
    QString m_path;
};

QTEST_GUILESS_MAIN(FileStreamTest)
#include "FileStreamTest.moc"
