#include "support/Thread.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <ctime>
#include <functional>

using namespace kel;

namespace {

class CountingReader : public MultiUserReader
{
public:
    using MultiUserReader::MultiUserReader;

    int calls = 0;
    qint64 bytes = 0;

protected:
    void onBytesWritten(qint64 count) override
    {
        ++calls;
        bytes += count;
    }
};

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

    void nestedWaitTimesOutByItself()
    {
        MultiUserBuffer buffer;
        MultiUserReader reader(&buffer, true);
        bool innerWait = true;
        QTimer::singleShot(0, this, [&] { innerWait = reader.waitForReadyRead(50); });
        QTimer::singleShot(300, this, [&] { buffer.write("x", 1); });
        QVERIFY(reader.waitForReadyRead(60000));
        QVERIFY(!innerWait);
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

    void quittingThreadReadsOn_data()
    {
        QTest::addColumn<int>("exitCode");
        QTest::newRow("quit") << 0;
        QTest::newRow("looks like data") << 1;
        QTest::newRow("looks like a close") << 2;
    }

    void quittingThreadReadsOn()
    {
        QFETCH(int, exitCode);
        boost::shared_ptr<MultiUserBuffer> buffer(new MultiUserBuffer);
        bool written = true;
        QByteArray data;
        double cpu = 0;
        Thread worker([&] {
            MultiUserReader reader(buffer, true);
            written = reader.waitForReadyRead(300);
            cpu = -cpuSeconds();
            char piece[4];
            for (int count; (count = reader.read(piece, 4)) > 0;)
                data.append(piece, count);
            cpu += cpuSeconds();
        });
        worker.start();
        QTimer::singleShot(100, this, [&] { worker.exit(exitCode); });
        QTimer::singleShot(700, this, [&] { buffer->write("abc", 3); });
        QTimer::singleShot(900, this, [&] { buffer->close(); });
        QTRY_VERIFY_WITH_TIMEOUT(worker.isFinished(), 4000);
        QVERIFY(!written);
        QCOMPARE(data, QByteArray("abc"));
        QVERIFY2(cpu < 0.2, "waiting costs time");
    }

    void closeUnderWayIsNotMissed()
    {
        boost::shared_ptr<MultiUserBuffer> buffer(new MultiUserBuffer);
        qint64 slowest = 0;
        Thread worker([&] {
            MultiUserReader reader(buffer, true);
            QElapsedTimer elapsed;
            elapsed.start();
            char byte;
            reader.read(&byte, 1);
            slowest = elapsed.elapsed();
        });
        connect(
            buffer.get(), &QIODevice::aboutToClose, this, [&] { QThread::msleep(200); },
            Qt::DirectConnection); // comes after the reader's notification, with the buffer still open
        worker.start();
        QTest::qWait(100);
        buffer->close();
        QTRY_VERIFY_WITH_TIMEOUT(worker.isFinished(), 8000);
        QVERIFY2(slowest < 4000, "slept a whole slice after the close");
    }

    void readerMadeDuringAnEmissionIsTold()
    {
        QSemaphore emitting;
        QSemaphore proceed;
        QThread owner;
        boost::shared_ptr<MultiUserBuffer> buffer(new MultiUserBuffer);
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

    void oneCallStandsForSeveralEmissions()
    {
        QSemaphore emitted;
        QThread owner;
        boost::shared_ptr<MultiUserBuffer> buffer(new MultiUserBuffer);
        buffer->moveToThread(&owner);
        CountingReader reader(buffer, false);
        connect(
            buffer.get(), &QIODevice::readyRead, buffer.get(), [&] { emitted.release(); },
            Qt::DirectConnection);
        owner.start();
        const auto write = [&](int size) {
            buffer->write("abc", size);
            emitted.acquire();
        };
        write(1);
        write(2);
        QCOMPARE(reader.calls, 0);
        QCoreApplication::processEvents();
        QCOMPARE(reader.calls, 1);
        QCOMPARE(reader.bytes, qint64(3));
        write(1);
        QCoreApplication::removePostedEvents(&reader); // must not keep the next one from coming
        write(2);
        QCoreApplication::processEvents();
        QCOMPARE(reader.calls, 2);
        QCOMPARE(reader.bytes, qint64(6));
        owner.quit();
        owner.wait();
    }
};

QTEST_GUILESS_MAIN(MultiUserWaitTest)
#include "MultiUserWaitTest.moc"
