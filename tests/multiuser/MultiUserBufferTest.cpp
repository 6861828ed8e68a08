#include "support/ShortMemory.h"
#include "support/posix.h"
#include "support/spellings.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>

#include <QCoreApplication>
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

static_assert(keepsEverySpelling<Buffer>);

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

/** The producer's side, and what the buffer offers to readers. */
class MultiUserBufferTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsAsConstructed()
    {
        Buffer empty;
        QVERIFY(empty.writable() && !empty.eofEncountered() && empty.nonBlocking());
        char data[8];
        QVERIFY(empty.read(data, 8) == 0 && !empty.readable());
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
        const auto failing = [](const std::function<void()>& work) {
            const ShortMemory here;
            work();
        };
        int count = 0;
        failing([&] { count = buffer.write("abc", 3); }); // nothing can be posted
        QVERIFY(count == 3 && !buffer.ioFailureDetected());
        buffer.write("de", 2);
        failing([] { QCoreApplication::sendPostedEvents(); }); // nothing can be emitted
        QTest::qWait(0);
        QCOMPARE(written.count(), 0);
        buffer.write("f", 1);
        QTRY_COMPARE(written.count(), 1);
        QVERIFY(written.takeFirst().constFirst().toLongLong() == 6 && ready.count() == 1);
        failing([&] { buffer.close(); });
        QVERIFY(buffer.eofEncountered() && !buffer.isOpen() && reader.readAll() == "abcdef");
    }
};

QTEST_GUILESS_MAIN(MultiUserBufferTest)
#include "MultiUserBufferTest.moc"
