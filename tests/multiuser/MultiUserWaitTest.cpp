#include "PatientReader.h"
#include "support/Thread.h"
#include "support/posix.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QSemaphore>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <ctime>
#include <functional>
#include <future>
#include <memory>

using namespace kel;

namespace {

using SharedBuffer = boost::shared_ptr<MultiUserBuffer>;

class CountingReader : public MultiUserReader
{
public:
    using MultiUserReader::MultiUserReader;
    qint64 bytes = 0;

protected:
    void onBytesWritten(qint64 count) override
    {
        bytes += count;
        MultiUserReader::onBytesWritten(count);
    }
};

QByteArray readToTheEnd(MultiUserReader& reader)
{
    QByteArray data;
    for (QByteArray piece; !(piece = reader.read(4)).isEmpty();)
        data += piece;
    return data;
}

/** Of the processor's time; elsewhere the clock goes on while the process sleeps. */
bool isShort(std::clock_t duration, int msecs)
{
    return !hasPosix || duration / (CLOCKS_PER_SEC / 1000) < msecs;
}

/** Blocked reads in both kinds of threads get everything and end, whatever happens in between. */
void readInThreads(const std::function<void()>& event = [] {})
{
    const SharedBuffer buffer(new MultiUserBuffer);
    QSemaphore begun, done;
    std::atomic<int> sleeps{0};
    const auto consume = [&] {
        if (QCoreApplication::instance()) {
            const QEventLoop makesDispatcher;
            QObject::connect(QAbstractEventDispatcher::instance(),
                             &QAbstractEventDispatcher::aboutToBlock, [&] { ++sleeps; });
        }
        MultiUserReader reader(buffer, true);
        begun.release();
        if (readToTheEnd(reader) == "abcdef")
            done.release();
    };
    Thread worker(consume);
    worker.start();
    const std::future<void> other = std::async(std::launch::async, consume);
    begun.acquire(2);
    for (const char* const word : {"abc", "def"}) {
        QThread::msleep(50);
        buffer->write(word);
    }
    // The event may be one that others must sleep through, as Qt's threads when the application goes.
    int seen = 0;
    do {
        seen = sleeps;
        QThread::msleep(50);
    } while (seen != sleeps);
    event();
    buffer->close();
    if (!done.tryAcquire(2, 20000))
        qFatal("a read without an application hangs or ends early");
}

} // namespace

/** Waits: what ends them, what doesn't, and what they cost. */
class MultiUserWaitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void waitEndsByTimeWriteOrClose()
    {
        MultiUserBuffer buffer("there already", 13);
        MultiUserReader reader(&buffer, true);
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(!reader.waitForReadyRead(100));
        QVERIFY(elapsed.elapsed() >= 90);
        buffer.write("w", 1); // the timer of that wait then comes too early for the next one
        QVERIFY(reader.waitForReadyRead(5) && !reader.waitForReadyRead(15));
        QTimer::singleShot(10, this, [&] { buffer.write("x", 1); });
        QVERIFY(reader.waitForReadyRead(300));
        elapsed.start(); // the rest of that limit must not end the next wait
        QTimer::singleShot(500, this, [&] { buffer.write("y", 1); });
        QVERIFY(reader.waitForReadyRead(-1) && elapsed.elapsed() >= 400);
        bool inner = true;
        QTimer::singleShot(0, this, [&] {
            inner = reader.waitForReadyRead(50);
            QTimer::singleShot(50, this, [&] { buffer.write("z", 1); });
        });
        QVERIFY(reader.waitForReadyRead(60000) && !inner); // the limit of the inner wait is its own
        QTimer::singleShot(10, this, [&] { buffer.close(); });
        QVERIFY(!reader.waitForReadyRead(-1));
        QVERIFY(!reader.waitForReadyRead(0));
        QVERIFY(!reader.waitForBytesWritten(60000));
    }

    void slotOfReadyReadMayWait()
    {
        MultiUserBuffer buffer;
        MultiUserReader reader(&buffer, true);
        QByteArray inner;
        int calls = 0;
        connect(&reader, &QIODevice::readyRead, this, [&] {
            QVERIFY2(++calls == 1 || !inner.isEmpty(), "nested");
            if (calls == 2) // once more after the slot has returned
                QTimer::singleShot(100, this, [&] { buffer.write("ghi"); });
            if (calls > 1)
                return;
            char data[6]; // more than is there: waits inside the running wait
            QVERIFY(reader.readBlock(data, 6));
            inner = QByteArray(data, 6);
        });
        QTimer::singleShot(0, this, [&] { buffer.write("abc"); });
        QTimer::singleShot(100, this, [&] { buffer.write("def"); });
        const std::clock_t cpu = std::clock();
        QCOMPARE(reader.read(3), QByteArray("ghi"));
        QVERIFY2(isShort(std::clock() - cpu, 100), "the nested wait spins");
        QCOMPARE(inner, QByteArray("abcdef"));
        QCOMPARE(calls, 3);
    }

    void neitherQuittingNorASlowCloseDisturbs()
    {
        const SharedBuffer buffer(new MultiUserBuffer);
        QSemaphore made, waited;
        bool written = true;
        QByteArray data;
        std::clock_t cpu = 0;
        Thread worker([&] {
            PatientReader reader(buffer, true);
            made.release();
            written = reader.MultiUserReader::waitForReadyRead(300);
            waited.release();
            cpu = -std::clock();
            data = readToTheEnd(reader);
            cpu += std::clock();
        });
        worker.start();
        made.acquire();
        // Comes after the reader's notification, with the buffer still open.
        connect(buffer.get(), &QIODevice::aboutToClose, this, [] { QThread::msleep(200); });
        for (const int exitCode : {0, 1, 2}) // 1 and 2 might look like data and a close
            QTimer::singleShot(50 * (exitCode + 1), this, [&, exitCode] { worker.exit(exitCode); });
        QTRY_VERIFY_WITH_TIMEOUT(waited.available() == 1, 60000);
        QTimer::singleShot(400, this, [&] { buffer->write("abc"); });
        QTimer::singleShot(600, this, [&] { buffer->close(); });
        QTRY_VERIFY_WITH_TIMEOUT(worker.isFinished(), 60000);
        QVERIFY(!written && data == "abc");
        QVERIFY2(isShort(cpu, 200), "waiting costs time");
    }

    void writeTellsAReaderElsewhereOnce()
    {
        QThread owner; // not started yet: nothing is emitted
        const SharedBuffer buffer(new MultiUserBuffer);
        buffer->moveToThread(&owner);
        CountingReader reader(buffer, true);
        int calls = 0;
        connect(&reader, &QIODevice::readyRead, this, [&] {
            if (++calls == 1)
                buffer->write("c"); // during a call, so that another one is due
        });
        buffer->write("a");
        buffer->write("b");
        for (const bool written : {true, true, false})
            QCOMPARE(reader.waitForReadyRead(written ? 8000 : 50), written);
        QSemaphore emitted;
        connect(buffer.get(), &QIODevice::readyRead, buffer.get(), [&] { emitted.release(); });
        owner.start();
        emitted.acquire();
        QVERIFY(!reader.waitForReadyRead(50)); // that is no news
        QVERIFY(calls == 2 && reader.bytes == 3);
        owner.quit();
        owner.wait();
    }

    void deleteLaterEndsTheWaits()
    {
        const SharedBuffer buffer(new MultiUserBuffer);
        for (const unsigned long duration : {0ul, 50ul}) { // then the wait goes on in an event loop
            QPointer<MultiUserReader> reader(new MultiUserReader(buffer, true));
            bool inner = true;
            QTimer::singleShot(0, this, [&] { inner = reader->waitForReadyRead(-1); });
            QTimer::singleShot(10, this, [&] {
                reader->deleteLater();
                QThread::msleep(duration);
            });
            QVERIFY(reader->read(1).isEmpty() && reader && !inner);
            QVERIFY(!reader->waitForReadyRead(-1));
            QTRY_VERIFY(!reader);
        }

        std::atomic<MultiUserReader*> made{nullptr};
        Thread worker([&] {
            made = new MultiUserReader(buffer, true); // goes with the thread
            made.load()->waitForReadyRead(-1);
        });
        worker.start();
        QTRY_VERIFY(made.load());
        made.load()->deleteLater();
        QVERIFY(worker.wait(60000));
    }

    void readerMadeDuringAnEmissionIsTold()
    {
        QSemaphore emitting, proceed;
        QThread owner;
        SharedBuffer buffer(new MultiUserBuffer);
        buffer->moveToThread(&owner);
        connect(buffer.get(), &QIODevice::bytesWritten, buffer.get(), [&] {
            emitting.release();
            proceed.acquire();
        });
        owner.start();
        buffer->write("abc", 3);
        emitting.acquire();
        MultiUserReader reader(buffer, true);
        { // one that goes before it could be connected
            const MultiUserReader fleeting(buffer, true);
        }
        QTimer::singleShot(0, this, [&] { buffer->close(); });
        QVERIFY(!reader.waitForReadyRead(-1));
        proceed.release(2);
        QVERIFY(buffer->open(QIODevice::WriteOnly));
        QTimer::singleShot(0, this, [&] { buffer->write("def", 3); });
        QVERIFY(reader.waitForReadyRead(5000));
        owner.quit();
        owner.wait();
    }
};

int main(int argc, char** argv)
{
    readInThreads(); // before there is an application object, while it goes, and afterwards
    auto fleeting = std::make_unique<QCoreApplication>(argc, argv);
    readInThreads([&] { fleeting.reset(); });
    readInThreads();
    const QCoreApplication application(argc, argv);
    MultiUserWaitTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "MultiUserWaitTest.moc"
