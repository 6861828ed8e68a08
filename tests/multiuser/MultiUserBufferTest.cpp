#include "support/ShortMemory.h"
#include "support/posix.h"
#include "support/spellings.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTranslator>

#include <array>
#include <atomic>
#include <functional>
#include <thread>

using namespace kel;

namespace {

/** The buffer with its operations for readers in the open. */
class Buffer : public MultiUserBuffer
{
public:
    using MultiUserBuffer::canReadLine, MultiUserBuffer::findLineBreak;
    using MultiUserBuffer::MultiUserBuffer;
    using MultiUserBuffer::readData, MultiUserBuffer::readLineData;
};

/** The reader with the operations that Qt calls in the open. */
class Reader : public MultiUserReader
{
public:
    using MultiUserReader::MultiUserReader;
    using MultiUserReader::readData, MultiUserReader::readLineData, QIODevice::setErrorString;

    bool waitForReadyRead(int) override { return ++waits, false; }
    static inline int waits = 0;
};

static_assert(keepsEverySpelling<Buffer> && keepsEverySpelling<Reader>);

/** Translates everything to one text. */
class Translator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char*, const char*, const char*, int) const override
    {
        return QStringLiteral("Unbekannter Fehler");
    }
};

} // namespace

/** The producer's side, and readers that find what they read, or have nothing to wait for. */
class MultiUserBufferTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QCOMPARE(Reader::waits, 0); }

    void startsAsConstructed()
    {
        Buffer raw("abc", 3);
        QVERIFY(raw.write("X", 1) == 1 && raw.data() == "Xbc");
        QByteArray array("abc");
        Buffer inPlace(&array);
        QVERIFY(inPlace.seek(3) && inPlace.writeBlock("def", 3) && array == "abcdef");

        Buffer finished(QByteArray("abc"));
        QVERIFY(!finished.writable() && finished.eofEncountered());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("not open")));
        QVERIFY(finished.write("X", 1) == -1 && finished.write("X", 0) == 0);
        for (const QIODevice::OpenMode mode :
             {QIODevice::OpenMode(QIODevice::ReadWrite), QIODevice::WriteOnly | QIODevice::Append,
              QIODevice::WriteOnly | QIODevice::Truncate})
            QVERIFY(!finished.open(mode) && !finished.isOpen() && finished.streamSize() == 3);
        QVERIFY(finished.open(QIODevice::WriteOnly) && finished.writable());
        QVERIFY(finished.write("X", 1) == 1 && finished.data() == "Xbc");
    }

    void copiesFromAPosition()
    {
        const Buffer buffer(QByteArray("ab\r\ncd\ne"));
        const qint64 far = 8 + (qint64(1) << 32) - 5; // 5 bytes when cut to 32 bits
        const qint64 gap = 8 - far;
        using Row = std::array<qint64, 5>; // position, limit, bytes, bytes of a line, line break
        const QList<Row> expected
            = {Row{0, 99, 8, 4, 3},    Row{0, 5, 5, 4, 3},       Row{0, 3, 3, 2, 3},
               Row{1, 1, 1, 0, 3},     Row{4, 99, 4, 3, 6},      Row{7, 99, 1, 1, -1},
               Row{8, 9, 0, 0, -1},    Row{4, 0, 0, -1, 6},      Row{9, 9, -1, -1, -1},
               Row{-1, 9, -1, -1, -1}, Row{far, 9, gap, gap, -1}};
        const auto inTen = [](const QByteArray& bytes) { return bytes.leftJustified(10, '#'); };
        for (const auto& [position, limit, count, line, lineBreak] : expected) {
            const QByteArray rest = buffer.data().mid(int(position));
            QByteArray data(10, '#');
            QCOMPARE(buffer.readData(position, data.data(), limit), count);
            QCOMPARE(data, inTen(count > 0 ? rest.left(int(count)) : QByteArray()));
            const QByteArray copy = buffer.readData(position, limit);
            QVERIFY(copy.isNull() == (count <= 0) && (count <= 0 || copy == rest.left(int(count))));
            data.fill('#');
            QCOMPARE(buffer.readLineData(position, data.data(), limit), line);
            QCOMPARE(data, inTen(line > 0 ? rest.left(int(line)) + '\0' : QByteArray()));
            QCOMPARE(buffer.findLineBreak(position), lineBreak);
            QCOMPARE(buffer.canReadLine(position), lineBreak >= 0);
        }
    }

    void recordsFailures()
    {
        Buffer buffer;
        buffer.setErrorString(QStringLiteral("Unknown error")); // what a device says by default
        QVERIFY(!buffer.ioFailureDetected());
        buffer.setErrorString(QStringLiteral("line cut"));
        QVERIFY(buffer.ioFailureDetected());
        buffer.close();
        QVERIFY(buffer.ioFailureDetected());
        QCOMPARE(buffer.errorString(), QStringLiteral("line cut"));
        QVERIFY(buffer.open(QIODevice::WriteOnly) && !buffer.ioFailureDetected());

        Buffer before; // the default text in another language is none either
        before.setErrorString(before.errorString());
        before.close();
        Translator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        buffer.close();
        QVERIFY(!before.ioFailureDetected() && !buffer.ioFailureDetected());
        QCoreApplication::removeTranslator(&translator);
        QVERIFY(!before.ioFailureDetected() && !buffer.ioFailureDetected());

        Buffer full("abc", 3);
        QVERIFY(!full.seek((qint64(1) << 31) + 5) && !full.ioFailureDetected());
        const char byte = 'x'; // never read: the length alone is refused
        QCOMPARE(static_cast<QIODevice&>(full).write(&byte, qint64(1) << 31), qint64(-1));
        QVERIFY(full.ioFailureDetected() && full.data() == "abc");
    }

    void notifiesAfterEveryWrite()
    {
        auto buffer = std::make_unique<Buffer>("abc", 3);
        QSignalSpy written(buffer.get(), &QIODevice::bytesWritten);
        QSignalSpy ready(buffer.get(), &QIODevice::readyRead);
        QTest::qWait(0);
        QCOMPARE(written.count(), 0); // what it was made with is not news
        buffer->write("12345");
        buffer->write(QByteArray("678"));
        QCOMPARE(written.count(), 0);
        QTRY_COMPARE(written.count(), 1);
        QVERIFY(written.takeFirst().constFirst().toLongLong() == 8 && ready.count() == 1);

        int again = 3; // a write from the slot is followed by an emission of its own
        connect(buffer.get(), &QIODevice::bytesWritten, this, [&] {
            if (--again > 0)
                buffer->write("x", 1);
        });
        QVERIFY(buffer->seek(20)); // so is what fills a gap
        QTRY_COMPARE(again, 0);
        disconnect(buffer.get(), nullptr, this, nullptr); // must not silence the others
        QCOMPARE(written.count(), 3);
        QCOMPARE(buffer->streamSize(), qint64(22));
        buffer->write("y", 1);
        QTRY_COMPARE(written.count(), 4);
        connect(buffer.get(), &QIODevice::bytesWritten, this, [&] { buffer.reset(); });
        buffer->write("z", 1);
        QTRY_VERIFY(!buffer);
    }

    void notifiesWhereItMovedTo()
    {
        class MovingBuffer : public Buffer
        {
        public:
            bool writesMeanwhile = false;

        protected:
            bool event(QEvent* event) override
            {
                const bool known = Buffer::event(event);
                if (event->type() == QEvent::ThreadChange && writesMeanwhile)
                    std::thread([this] { write("abc", 3); }).join(); // still in the former thread
                return known;
            }
        };
        for (const bool meanwhile : {false, true}) {
            QThread owner;
            MovingBuffer buffer;
            std::atomic<qint64> here{0}, there{0};
            const auto count = [&](qint64 bytes) {
                (QThread::currentThread() == &owner ? there : here) += bytes;
            };
            connect(&buffer, &QIODevice::bytesWritten, &buffer, count, Qt::DirectConnection);
            buffer.writesMeanwhile = meanwhile;
            if (!meanwhile)
                buffer.write("123", 3); // on its way when the buffer moves
            buffer.moveToThread(&owner);
            if (meanwhile) {
                QCoreApplication::processEvents(); // what was posted in the former thread
                buffer.write("def", 3);
            }
            owner.start();
            QTRY_COMPARE(there.load(), meanwhile ? 6 : 3);
            QCOMPARE(here.load(), qint64(0));
            owner.quit();
            QVERIFY(owner.wait());
        }
    }

    void shortMemoryDelaysANotification()
    {
        if (!hasPosix)
            QSKIP("A program cannot replace the library's new here", );
        Buffer buffer;
        MultiUserReader reader(&buffer, false);
        QSignalSpy written(&buffer, &QIODevice::bytesWritten);
        QSignalSpy ready(&reader, &QIODevice::readyRead);
        const auto failing = [](auto work) {
            const ShortMemory here;
            return work();
        };
        QCOMPARE(failing([&] { return buffer.write("abc", 3); }), 3); // nothing can be posted
        QVERIFY(!buffer.ioFailureDetected() && buffer.write("de", 2) == 2);
        failing([] { QCoreApplication::sendPostedEvents(); }); // nothing can be emitted
        QTest::qWait(0);
        QCOMPARE(written.count(), 0);
        buffer.write("f", 1);
        QTRY_COMPARE(written.count(), 1);
        QVERIFY(written.takeFirst().constFirst().toLongLong() == 6 && ready.count() == 1);
        failing([&] { buffer.close(); });
        QVERIFY(buffer.eofEncountered() && !buffer.isOpen() && reader.readAll() == "abcdef");
    }

    void readsWhatIsThere()
    {
        Buffer buffer;
        Reader reader(&buffer, false), other(&buffer, false);
        char data[10] = {};
        QVERIFY(reader.read(data, 10) == 0 && !reader.atEnd() && reader.bytesAvailable() == 0);
        QVERIFY(buffer.writeBlock("hello", 5) && reader.bytesAvailable() == 5);
        QVERIFY(reader.peek(2) == "he" && reader.peek(data, 3) == 3);
        QVERIFY(reader.read(data, 10) == 5 && qstrcmp(data, "hello") == 0);
        QVERIFY(reader.read(data, 10) == 0 && reader.peek(1).isEmpty() && !reader.atEnd());
        QVERIFY(other.position() == 0 && reader.write("x", 1) == 0 && reader.bytesToWrite() == -1);
        const qint64 far = 5 + (qint64(1) << 32) - 5; // 5 bytes when cut to 32 bits
        QVERIFY(reader.setPosition(far) && reader.bytesAvailable() == 5 - far);
        QVERIFY(reader.readData(data, 8) < 0 && reader.readLineData(data, 8) < 0);
        reader.finishIO();
        reader.close();
        QVERIFY(reader.isOpen() && reader.readable() && !buffer.eofEncountered());
        for (const auto mode : {QIODevice::ReadOnly, QIODevice::ReadWrite}) {
            QCOMPARE(reader.open(mode), mode == QIODevice::ReadOnly);
            QCOMPARE(reader.openMode(), mode | QIODevice::Unbuffered);
        }
        reader.setErrorString(QStringLiteral("mine"));
        QVERIFY(reader.ioFailureDetected() && !other.ioFailureDetected());
        QVERIFY(!buffer.ioFailureDetected());
        buffer.setErrorString(QStringLiteral("the producer's"));
        QVERIFY(other.ioFailureDetected());
    }

    void endsWhenTheProducerCloses()
    {
        for (const bool blocking : {false, true}) {
            Buffer buffer("0123456789", 10);
            Reader reader(&buffer, blocking);
            char data[10];
            QVERIFY(reader.seek(10)); // who asks for nothing doesn't wait
            QVERIFY(reader.read(data, 0) == 0 && reader.readBlock(data, 0)
                    && reader.peek(0).isEmpty());
            QVERIFY(reader.readData(data, 0) == 0 && reader.readLineData(data, 1) == 0);
            QCOMPARE(static_cast<QIODevice&>(reader).readLine(data, 2), qint64(0));
            QVERIFY(reader.reset() && reader.read(data, 4) == 4);
            buffer.finishIO();
            QVERIFY(reader.bytesAvailable() == 6 && !reader.atEnd());
            std::vector<unsigned char> rest;
            reader.readAll(rest);
            QVERIFY(rest.size() == 6 && reader.atEnd() && reader.eofEncountered());
            QVERIFY(reader.read(data, 10) == 0 && reader.peek(5).isEmpty());
            QVERIFY(reader.seek(20) && reader.readData(data, 10) == 0);
            QVERIFY(buffer.open(QIODevice::WriteOnly) && !reader.atEnd());
        }
    }

    void readsLines()
    {
        MultiUserBuffer lines(QByteArray("ab\ncd"));
        Reader ofLines(&lines, true);
        QIODevice& device = ofLines;
        QVERIFY(ofLines.canReadLine() && device.readLine() == "ab\n");
        QVERIFY(!ofLines.canReadLine() && device.readLine() == "cd" && device.readLine().isEmpty());

        MultiUserBuffer buffer(QByteArray(64 * 1024 * 1024, 'x'));
        Reader reader(&buffer, false);
        char data[1026];
        qint64 total = 0;
        QElapsedTimer elapsed;
        elapsed.start();
        // Searched to its end for every piece, this line would be read 65,000 times over.
        for (qint64 count; (count = static_cast<QIODevice&>(reader).readLine(data, 1026)) > 0;)
            total += count;
        QCOMPARE(total, qint64(64 * 1024 * 1024));
        QVERIFY2(elapsed.elapsed() < 60000, "minutes instead of a fraction of a second");
    }

    void livesWithoutABuffer()
    {
        for (const QByteArray before : {"", "read", "line"}) {
            auto buffer = std::make_unique<MultiUserBuffer>(QByteArray("ab\ncd"));
            Reader reader(buffer.get(), true);
            QIODevice& device = reader;
            if (!before.isEmpty())
                QCOMPARE(before == "read" ? device.read(3) : device.readLine(), QByteArray("ab\n"));
            buffer.reset();
            char data[8];
            QVERIFY(!reader.buffer() && !reader.readable());
            for (int round = 0; round < 2; ++round)
                QVERIFY(device.read(data, 8) == 0 && device.readLine(data, 8) == 0);
            QVERIFY(reader.peek(4).isEmpty() && reader.peek(data, 4) == 0);
            QVERIFY(!reader.seek(1) && !reader.canReadLine() && !reader.atEnd());
            QVERIFY(reader.size() == 0 && reader.bytesAvailable() == 0);
            QVERIFY(!reader.ioFailureDetected());
        }
    }

    void factorySharesTheBuffer()
    {
        boost::shared_ptr<MultiUserBuffer> buffer(new MultiUserBuffer(QByteArray("abc")));
        const QPointer<MultiUserBuffer> watched(buffer.get());
        auto reader = MultiUserBuffer::createReaderInterface(buffer, true);
        auto* const device = dynamic_cast<MultiUserReader*>(reader.get());
        QSignalSpy ready(device, &QIODevice::readyRead);
        QVERIFY(buffer->open(QIODevice::WriteOnly) && buffer->write("abc") == 3);
        QTRY_COMPARE(ready.count(), 1);
        buffer->close();
        buffer.reset();
        QVERIFY(watched && !reader->nonBlocking());
        QVERIFY(device->read(2) == "ab" && device->readAll() == "c");
        reader.reset();
        QVERIFY(!watched);
    }
};

QTEST_GUILESS_MAIN(MultiUserBufferTest)
#include "MultiUserBufferTest.moc"
