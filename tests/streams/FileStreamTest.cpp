#include "support/TemporaryFolder.h"
#include "support/posix.h"
#include "support/spellings.h"

#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/StreamUtils.h>

#include <QTest>

#include <functional>
#include <thread>

using namespace kel;
using End = FileStream::FollowEnd;

static_assert(keepsEverySpelling<FileStream>);

/** File streams that are used as they are, and followed. */
class FileStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<TemporaryFolder>();
        m_path = m_folder->at("file");
        append("first ");
    }

    void tellsWhyItIsNotOpen()
    {
        for (const QString& path : {m_folder->at("none"), m_folder->path(), m_path + QChar(0)}) {
            FileStream file(path, QIODevice::ReadOnly);
            QVERIFY2(!file.isOpen() && file.ioFailureDetected(), qPrintable(path));
            QVERIFY(file.failureText().startsWith(path + QStringLiteral(": ")));
            QVERIFY(!file.follow());
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
        const auto replace
            = [this] { append("last"), QFile::remove(m_path), append("another file"); };
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
            {"replaced", -1, [&](FileStream&) { replace(); }, "first last", End::Removed},
            {"cut short", -1, [this](FileStream&) { QFile::resize(m_path, 2); }, "first ",
             End::CutShort},
            {"cancelled", -1, [](FileStream& file) { file.cancel(); }, "first ", End::Cancelled},
            {"renamed, then removed", -1,
             [&](FileStream&) {
                 QFile::rename(m_path, m_folder->at("renamed"));
                 m_path = m_folder->at("renamed");
                 append("second "), remove();
             },
             "first second last", End::Removed},
        };
        for (const auto& c : cases) {
            if (!hasPosix && c.end == End::Removed)
                continue; // what is open stays there
            for (const bool buffered : {true, false}) {
                init();
                FileStream file(m_path, buffered ? QIODevice::ReadOnly
                                                 : QIODevice::ReadOnly | QIODevice::Unbuffered);
                QVERIFY(file.follow(c.quietMsecs) && !file.atEnd());
                QByteArray read = file.read(6);
                QVERIFY2(read == "first " && file.followEnd() == End::None, c.name);
                std::thread other([&] { c.act(file); });
                while (!file.atEnd() && read.size() < 100)
                    read += file.read(100);
                other.join();
                QCOMPARE(QByteArray(c.name) + read, c.name + c.read);
                QVERIFY2(file.followEnd() == c.end, c.name);
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

    void neverWaitsWithoutLimit()
    {
        FileStream file(m_path, QIODevice::ReadOnly);
        QVERIFY(file.follow(1) && file.readAll() == "first " && !file.waitForReadyRead(-1));
    }

    void cancelledBeforeItWaits()
    {
        FileStream file(m_path, QIODevice::ReadOnly);
        std::thread(&FileStream::cancel, &file).join();
        QVERIFY(file.follow() && file.readAll() == "first " && file.followEnd() == End::Cancelled);
    }

private:
    void append(const QByteArray& bytes)
    {
        QFile file(m_path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append)
            || file.write(bytes) != bytes.size())
            qFatal("cannot append");
    }

    std::unique_ptr<TemporaryFolder> m_folder;
    QString m_path;
};

QTEST_GUILESS_MAIN(FileStreamTest)
#include "FileStreamTest.moc"
