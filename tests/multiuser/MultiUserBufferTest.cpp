#include "support/TestRegistry.h"

#include <Quarn/multiuser/MultiUserBuffer.h>

#include <QCoreApplication>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTranslator>

#include <thread>

using namespace kel;

namespace {

/** The buffer with its operations for readers in the open. */
class Buffer : public MultiUserBuffer
{
public:
    using MultiUserBuffer::canReadLine;
    using MultiUserBuffer::findLineBreak;
    using MultiUserBuffer::MultiUserBuffer;
    using MultiUserBuffer::readData;
    using MultiUserBuffer::readLineData;
};

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
    void startsAsConstructed();
    void opensForWritingOnly_data();
    void opensForWritingOnly();
    void isAWriteOnlyStream();
    void findsLineBreaks_data();
    void findsLineBreaks();
    void copiesFromAPosition_data();
    void copiesFromAPosition();
    void copiesLines_data();
    void copiesLines();
    void keepsARecordedFailure();
    void inventsNoFailureInAnotherLanguage();
    void refusesWhatCannotFit();
    void notifiesAfterEveryWrite();
    void notifiesInTheOwnersThread();
    void survivesItsEndInASlot();
};

void MultiUserBufferTest::startsAsConstructed()
{
    Buffer empty;
    QVERIFY(empty.writable() && !empty.eofEncountered() && !empty.readable());
    QVERIFY(empty.nonBlocking() && empty.streamSize() == 0);

    Buffer raw("abc", 3);
    QCOMPARE(raw.write("X", 1), 1);
    QCOMPARE(raw.data(), QByteArray("Xbc"));
    QCOMPARE(raw.streamSize(), qint64(3));

    QByteArray array("abc");
    Buffer inPlace(&array);
    QVERIFY(inPlace.seek(3) && inPlace.writeBlock("def", 3));
    QCOMPARE(array, QByteArray("abcdef"));

    Buffer finished(QByteArray("abc"));
    QVERIFY(!finished.writable() && finished.eofEncountered());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("not open")));
    QCOMPARE(finished.write("X", 1), -1);
    QVERIFY(finished.open(QIODevice::WriteOnly));
    QVERIFY(finished.writable() && !finished.eofEncountered());
    QCOMPARE(finished.write("X", 1), 1);
    QCOMPARE(finished.data(), QByteArray("Xbc"));
}

void MultiUserBufferTest::opensForWritingOnly_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("read") << int(QIODevice::ReadOnly);
    QTest::newRow("both") << int(QIODevice::ReadWrite);
    QTest::newRow("append") << int(QIODevice::WriteOnly | QIODevice::Append);
    QTest::newRow("truncate") << int(QIODevice::WriteOnly | QIODevice::Truncate);
    QTest::newRow("not open") << int(QIODevice::NotOpen);
}

void MultiUserBufferTest::opensForWritingOnly()
{
    QFETCH(int, mode);
    Buffer buffer(QByteArray("abc"));
    QVERIFY(!buffer.open(QIODevice::OpenMode(mode)));
    QVERIFY(!buffer.writable() && !buffer.isOpen() && buffer.streamSize() == 3);
}

void MultiUserBufferTest::isAWriteOnlyStream()
{
    Buffer buffer;
    QSignalSpy closing(&buffer, &QIODevice::aboutToClose);
    char data[8];
    QVERIFY(buffer.writeBlock("line\n", 5));
    QVERIFY(buffer.setPosition(0));
    QCOMPARE(buffer.read(data, 8), 0);
    QVERIFY(!buffer.canReadLine());
    QIODevice& device = buffer;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("WriteOnly")));
    QCOMPARE(device.read(data, 8), qint64(-1));
    QVERIFY(buffer.setPosition(5) && buffer.reset());
    QCOMPARE(buffer.position(), qint64(0));
    buffer.finishIO();
    QCOMPARE(closing.count(), 1);
    QVERIFY(buffer.eofEncountered());
    QCOMPARE(buffer.data(), QByteArray("line\n"));
}

void MultiUserBufferTest::findsLineBreaks_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<qint64>("from");
    QTest::addColumn<qint64>("found");
    const QByteArray lines("ab\ncd\n");
    QTest::newRow("first") << lines << qint64(0) << qint64(2);
    QTest::newRow("itself") << lines << qint64(2) << qint64(2);
    QTest::newRow("second") << lines << qint64(3) << qint64(5);
    QTest::newRow("none left") << lines << qint64(6) << qint64(-1);
    QTest::newRow("beyond") << lines << (qint64(1) << 40) << qint64(-1);
    QTest::newRow("negative") << lines << qint64(-1) << qint64(-1);
    QTest::newRow("carriage return") << QByteArray("a\rb") << qint64(0) << qint64(-1);
}

void MultiUserBufferTest::findsLineBreaks()
{
    QFETCH(QByteArray, bytes);
    QFETCH(qint64, from);
    QFETCH(qint64, found);
    const Buffer buffer(bytes);
    QCOMPARE(buffer.findLineBreak(from), found);
    QCOMPARE(buffer.canReadLine(from), found >= 0);
}

void MultiUserBufferTest::copiesFromAPosition_data()
{
    QTest::addColumn<qint64>("from");
    QTest::addColumn<qint64>("most");
    QTest::addColumn<qint64>("count");
    QTest::newRow("all") << qint64(0) << qint64(10) << qint64(3);
    QTest::newRow("some") << qint64(1) << qint64(1) << qint64(1);
    QTest::newRow("none asked") << qint64(1) << qint64(0) << qint64(0);
    QTest::newRow("at the end") << qint64(3) << qint64(10) << qint64(0);
    QTest::newRow("one beyond") << qint64(4) << qint64(10) << qint64(-1);
    QTest::newRow("far beyond") << 3 + (qint64(1) << 32) - 5 << qint64(10) << 5 - (qint64(1) << 32);
    QTest::newRow("negative") << qint64(-1) << qint64(10) << qint64(-1);
}

void MultiUserBufferTest::copiesFromAPosition()
{
    QFETCH(qint64, from);
    QFETCH(qint64, most);
    QFETCH(qint64, count);
    const Buffer buffer(QByteArray("abc"));
    QByteArray data(12, '#');
    const QByteArray expected = QByteArray("abc").mid(int(from), int(qMax(count, qint64(0))));
    QCOMPARE(buffer.readData(from, data.data(), most), count);
    QCOMPARE(data, (count > 0 ? expected : QByteArray()).leftJustified(12, '#'));
    const QByteArray copy = buffer.readData(from, most);
    QCOMPARE(copy.isNull(), count <= 0);
    QCOMPARE(copy, count > 0 ? expected : QByteArray());
}

void MultiUserBufferTest::copiesLines_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<qint64>("from");
    QTest::addColumn<qint64>("most");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("line") << QByteArray("ab\ncd") << qint64(0) << qint64(100) << QByteArray("ab\n");
    QTest::newRow("last line") << QByteArray("ab\ncd") << qint64(3) << qint64(100)
                               << QByteArray("cd");
    QTest::newRow("just room") << QByteArray("ab\ncd") << qint64(0) << qint64(4)
                               << QByteArray("ab\n");
    QTest::newRow("piece") << QByteArray("abcd\n") << qint64(0) << qint64(3) << QByteArray("ab");
    QTest::newRow("room for the end only")
        << QByteArray("abcd\n") << qint64(0) << qint64(1) << QByteArray();
    QTest::newRow("at the end") << QByteArray("ab\n") << qint64(3) << qint64(9) << QByteArray();
}

void MultiUserBufferTest::copiesLines()
{
    QFETCH(QByteArray, bytes);
    QFETCH(qint64, from);
    QFETCH(qint64, most);
    QFETCH(QByteArray, line);
    const Buffer buffer(bytes);
    QByteArray data(100, '#');
    QCOMPARE(buffer.readLineData(from, data.data(), most), qint64(line.size()));
    if (!line.isEmpty())
        line.append('\0');
    QCOMPARE(data, line.leftJustified(100, '#'));
}

void MultiUserBufferTest::keepsARecordedFailure()
{
    Buffer buffer;
    QVERIFY(!buffer.ioFailureDetected());
    buffer.setErrorString(QStringLiteral("Unknown error")); // what a device says by default
    QVERIFY(!buffer.ioFailureDetected());
    buffer.setErrorString(QStringLiteral("line cut"));
    QVERIFY(buffer.ioFailureDetected());
    buffer.close();
    QVERIFY(buffer.ioFailureDetected());
    QCOMPARE(buffer.errorString(), QStringLiteral("line cut"));
    QVERIFY(buffer.open(QIODevice::WriteOnly));
    QVERIFY(!buffer.ioFailureDetected());
}

void MultiUserBufferTest::inventsNoFailureInAnotherLanguage()
{
    Translator translator;
    Buffer closedBefore;
    closedBefore.setErrorString(closedBefore.errorString());
    closedBefore.close();
    QVERIFY(QCoreApplication::installTranslator(&translator));
    Buffer closedWhile;
    closedWhile.close();
    QVERIFY(!closedBefore.ioFailureDetected() && !closedWhile.ioFailureDetected());
    QCoreApplication::removeTranslator(&translator);
    QVERIFY(!closedBefore.ioFailureDetected() && !closedWhile.ioFailureDetected());
}

void MultiUserBufferTest::refusesWhatCannotFit()
{
    Buffer buffer;
    QVERIFY(buffer.writeBlock("abc", 3));
    QVERIFY(!buffer.seek((qint64(1) << 31) + 5));
    QCOMPARE(buffer.position(), qint64(3));
    QIODevice& device = buffer;
    const char byte = 'x'; // never read: the length alone is refused
    QCOMPARE(device.write(&byte, (qint64(1) << 31) - 10), qint64(-1));
    QVERIFY(buffer.ioFailureDetected());
    QCOMPARE(buffer.data(), QByteArray("abc"));
}

void MultiUserBufferTest::notifiesAfterEveryWrite()
{
    Buffer buffer("abc", 3);
    QSignalSpy written(&buffer, &QIODevice::bytesWritten);
    QSignalSpy ready(&buffer, &QIODevice::readyRead);
    QTest::qWait(0);
    QCOMPARE(written.count(), 0); // what it was made with is not news
    buffer.write("12345", 5);
    buffer.write("678", 3);
    QCOMPARE(written.count(), 0);
    QTRY_COMPARE(written.count(), 1);
    QCOMPARE(written.takeFirst().constFirst().toLongLong(), 8);
    QCOMPARE(ready.count(), 1);

    int again = 3; // a write from the slot is followed by an emission of its own
    connect(&buffer, &QIODevice::bytesWritten, this, [&] {
        if (--again > 0)
            buffer.write("x", 1);
    });
    QVERIFY(buffer.seek(20)); // so is what fills a gap
    QTRY_COMPARE(again, 0);
    QCOMPARE(written.count(), 3);
    QCOMPARE(buffer.streamSize(), qint64(22));
    disconnect(&buffer, nullptr, this, nullptr);
    buffer.write("y", 1);
    QTRY_COMPARE(written.count(), 4);
}

void MultiUserBufferTest::notifiesInTheOwnersThread()
{
    QThread owner;
    owner.start();
    auto* const buffer = new Buffer;
    QThread* emittedIn = nullptr;
    connect(
        buffer, &QIODevice::bytesWritten, buffer, [&] { emittedIn = QThread::currentThread(); },
        Qt::DirectConnection);
    std::thread([&] { buffer->write("abc", 3); }).join(); // notified here, were it to stay
    buffer->moveToThread(&owner);
    connect(&owner, &QThread::finished, buffer, &QObject::deleteLater);
    QSignalSpy written(buffer, &QIODevice::bytesWritten);
    QTRY_COMPARE(written.count(), 1);
    QCOMPARE(emittedIn, &owner);
    buffer->write("def", 3);
    QTRY_COMPARE(written.count(), 2);
    QCOMPARE(emittedIn, &owner);
    owner.quit();
    QVERIFY(owner.wait());
}

void MultiUserBufferTest::survivesItsEndInASlot()
{
    auto* const buffer = new Buffer;
    bool gone = false;
    connect(buffer, &QObject::destroyed, this, [&] { gone = true; });
    connect(buffer, &QIODevice::bytesWritten, this, [&] { delete buffer; });
    buffer->write("abc", 3);
    QTRY_VERIFY(gone);
}

QUARN_TEST(MultiUserBufferTest)
#include "MultiUserBufferTest.moc"
