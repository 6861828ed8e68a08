#include "support/Thread.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPointer>
#include <QSemaphore>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <functional>
#include <thread>

using namespace kel;

namespace {

using SharedBuffer = boost::shared_ptr<MultiUserBuffer>;

class CountingReader : public MultiUserReader
{
public:
    using MultiUserReader::MultiUserReader;

    int calls = 0;
    qint64 bytes = 0;
    std::function<void()> called = [] {};

protected:
    void onBytesWritten(qint64 count) override
    {
        MultiUserReader::onBytesWritten(count);
        ++calls;
        bytes += count;
        called();
    }
};

/** Blocked reads of both kinds of threads that got everything and ended. */
int readsToTheEnd()
{
    int ended = 0;
    for (const bool threadOfQt : {true, false}) {
        const SharedBuffer buffer(new MultiUserBuffer);
        QSemaphore done;
        QByteArray data;
        const auto consume = [&] {
            MultiUserReader reader(buffer, true);
            for (QByteArray piece; !(piece = reader.read(4)).isEmpty();)
                data += piece;
            done.release();
        };
        Thread worker(consume);
        std::thread other;
        if (threadOfQt)
            worker.start();
        else
            other = std::thread(consume);
        for (const char* const word : {"abc", "def"}) {
            QThread::msleep(50);
            buffer->write(word);
        }
        buffer->close();
        if (!done.tryAcquire(1, 20000))
            qFatal("a read hangs");
        worker.wait();
        if (other.joinable())
            other.join();
        ended += data == "abcdef";
    }
    return ended;
}

int endedWithoutApplication = 0;

double cpuSeconds()
{
    return double(std::clock()) / CLOCKS_PER_SEC;
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
        QVERIFY2(elapsed.elapsed() >= 90 && elapsed.elapsed() < 3000,
                 qPrintable(QString::number(elapsed.elapsed())));
        QTimer::singleShot(10, this, [&] { buffer.write("x", 1); });
        QVERIFY(reader.waitForReadyRead(300));
        elapsed.start(); // the rest of that limit must not end the next wait
        QTimer::singleShot(500, this, [&] { buffer.write("y", 1); });
        QVERIFY(reader.waitForReadyRead(-1) && elapsed.elapsed() >= 400);
        bool inner = true;
        QTimer::singleShot(0, this, [&] { inner = reader.waitForReadyRead(50); });
        QTimer::singleShot(300, this, [&] { buffer.write("z", 1); });
        QVERIFY(reader.waitForReadyRead(60000) && !inner); // the limit of the inner wait is its own
        QTimer::singleShot(10, this, [&] { buffer.close(); });
        QVERIFY(!reader.waitForReadyRead(-1));
        QVERIFY(!reader.waitForReadyRead(0));
        QVERIFY(!reader.waitForBytesWritten(60000));
    }

    void nestedReadsShareTheData()
    {
        MultiUserBuffer buffer;
        MultiUserReader reader(&buffer, true);
        QByteArray inner;
        bool reading = false;
        connect(&reader, &QIODevice::readyRead, this, [&] {
            if (std::exchange(reading, true))
                return;
            char data[6]; // more than is there: waits inside the running wait
            QVERIFY(reader.readBlock(data, 6));
            inner = QByteArray(data, 6);
        });
        QTimer::singleShot(0, this, [&] { buffer.write("abc", 3); });
        QTimer::singleShot(100, this, [&] { buffer.write("def", 3); });
        QTimer::singleShot(200, this, [&] { buffer.write("ghi", 3); });
        const double cpu = cpuSeconds();
        char outer[4] = {};
        QCOMPARE(reader.read(outer, 3), 3);
        QVERIFY2(cpuSeconds() - cpu < 0.1, "the nested wait spins");
        QCOMPARE(inner, QByteArray("abcdef"));
        QCOMPARE(QByteArray(outer), QByteArray("ghi"));
    }

    void readyReadDoesNotNest()
    {
        MultiUserBuffer buffer;
        MultiUserReader reader(&buffer, true);
        int depth = 0;
        int deepest = 0;
        int total = 0;
        connect(&reader, &QIODevice::readyRead, this, [&] {
            deepest = std::max(deepest, ++depth);
            char byte;
            while (reader.read(&byte, 1) == 1) // waits
                ++total;
            --depth;
        });
        QTimer timer;
        int left = 100;
        connect(&timer, &QTimer::timeout, this, [&] {
            if (left-- > 0)
                buffer.write("x", 1);
            else
                buffer.close();
        });
        timer.start(0);
        QTRY_COMPARE(total, 100);
        QTRY_COMPARE(depth, 0);
        QCOMPARE(deepest, 1);
    }

    void quittingThreadReadsOn()
    {
        for (const int exitCode : {0, 1, 2}) { // 1 and 2 might look like data and a close
            SharedBuffer buffer(new MultiUserBuffer);
            bool written = true;
            QByteArray data;
            double cpu = 0;
            Thread worker([&] {
                MultiUserReader reader(buffer, true);
                written = reader.waitForReadyRead(300);
                cpu = -cpuSeconds();
                for (QByteArray piece; !(piece = reader.read(4)).isEmpty();)
                    data += piece;
                cpu += cpuSeconds();
            });
            worker.start();
            QTimer::singleShot(100, this, [&] { worker.exit(exitCode); });
            QTimer::singleShot(700, this, [&] { buffer->write("abc"); });
            QTimer::singleShot(900, this, [&] { buffer->close(); });
            QTRY_VERIFY_WITH_TIMEOUT(worker.isFinished(), 4000);
            QVERIFY2(!written, qPrintable(QString::number(exitCode)));
            QCOMPARE(data, QByteArray("abc"));
            QVERIFY2(cpu < 0.2, "waiting costs time");
        }
    }

    void closeUnderWayIsNotMissed()
    {
        const SharedBuffer buffer(new MultiUserBuffer);
        QSemaphore made;
        qint64 slowest = 0;
        Thread worker([&] {
            MultiUserReader reader(buffer, true);
            made.release();
            QElapsedTimer elapsed;
            elapsed.start();
            reader.read(1);
            slowest = elapsed.elapsed();
        });
        worker.start();
        made.acquire();
        connect(
            buffer.get(), &QIODevice::aboutToClose, this, [&] { QThread::msleep(200); },
            Qt::DirectConnection); // comes after the reader's notification, with the buffer still open
        buffer->close();
        QVERIFY(worker.wait(8000));
        QVERIFY2(slowest < 4000, "slept a whole slice after the close");
    }

    void writeTellsAReaderElsewhereOnce()
    {
        QThread owner; // not started yet: nothing is emitted
        const SharedBuffer buffer(new MultiUserBuffer);
        buffer->moveToThread(&owner);
        CountingReader reader(buffer, true);
        reader.called = [&] {
            if (reader.calls == 1)
                buffer->write("c"); // during a call, so that another one is due
        };
        buffer->write("a");
        buffer->write("b");
        for (const bool written : {true, true, false})
            QCOMPARE(reader.waitForReadyRead(written ? 8000 : 50), written);
        QSemaphore emitted;
        connect(
            buffer.get(), &QIODevice::readyRead, this, [&] { emitted.release(); },
            Qt::DirectConnection);
        owner.start();
        emitted.acquire();
        QVERIFY(!reader.waitForReadyRead(50)); // that is no news
        QVERIFY(reader.calls == 2 && reader.bytes == 3);
        owner.quit();
        owner.wait();
    }

    void deleteLaterEndsTheWaits()
    {
        const SharedBuffer buffer(new MultiUserBuffer);
        QPointer<MultiUserReader> reader(new MultiUserReader(buffer, true));
        bool inner = true;
        QTimer::singleShot(0, this, [&] { inner = reader->waitForReadyRead(-1); });
        QTimer::singleShot(10, this, [&] { reader->deleteLater(); });
        QVERIFY(reader->read(1).isEmpty() && reader && !inner);
        QVERIFY(!reader->waitForReadyRead(-1));
        QTRY_VERIFY(!reader);

        std::atomic<MultiUserReader*> made{nullptr};
        Thread worker([&] {
            made = new MultiUserReader(buffer, true); // goes with the thread
            made.load()->waitForReadyRead(-1);
        });
        worker.start();
        QTRY_VERIFY(made.load());
        made.load()->deleteLater();
        QVERIFY(worker.wait(8000));
    }

    void readsEndWithoutAnApplication() { QCOMPARE(endedWithoutApplication, 4); }

    void readerMadeDuringAnEmissionIsTold()
    {
        QSemaphore emitting;
        QSemaphore proceed;
        QThread owner;
        SharedBuffer buffer(new MultiUserBuffer);
        buffer->moveToThread(&owner);
        connect(
            buffer.get(), &QIODevice::bytesWritten, buffer.get(),
            [&] {
                emitting.release();
                proceed.acquire();
            },
            Qt::DirectConnection);
        owner.start();
        buffer->write("abc", 3);
        emitting.acquire();
        MultiUserReader reader(buffer, true);
        { // one that goes before it could be connected
            const MultiUserReader fleeting(buffer, true);
        }
        QElapsedTimer elapsed;
        elapsed.start();
        QTimer::singleShot(0, this, [&] { buffer->close(); });
        QVERIFY(!reader.waitForReadyRead(5000));
        proceed.release(2);
        QVERIFY(buffer->open(QIODevice::WriteOnly));
        QTimer::singleShot(0, this, [&] { buffer->write("def", 3); });
        QVERIFY(reader.waitForReadyRead(5000));
        QVERIFY2(elapsed.elapsed() < 4000, "the reader was not told");
        owner.quit();
        owner.wait();
    }
};

int main(int argc, char** argv)
{
    endedWithoutApplication = readsToTheEnd();
    {
        const QCoreApplication fleeting(argc, argv);
    }
    endedWithoutApplication += readsToTheEnd();
    const QCoreApplication application(argc, argv);
    MultiUserWaitTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "MultiUserWaitTest.moc"
