#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>

#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <random>
#include <thread>

using namespace kel;

namespace {

using SharedBuffer = boost::shared_ptr<MultiUserBuffer>;
using Random = std::minstd_rand;

/** The byte that belongs at \a position. */
char byteAt(qint64 position)
{
    return char((position * 2654435761) >> 13);
}

/** A thread with an event loop that a buffer lives in. */
class Owner
{
public:
    Owner() { m_thread.start(); }
    ~Owner()
    {
        m_thread.quit();
        m_thread.wait();
    }

    SharedBuffer makeBuffer()
    {
        SharedBuffer buffer(new MultiUserBuffer);
        buffer->moveToThread(&m_thread);
        return buffer;
    }

private:
    QThread m_thread;
};

void produce(const SharedBuffer& buffer, qint64 size, unsigned seed)
{
    Random random(seed);
    QByteArray block;
    for (qint64 done = 0; done < size; done += block.size()) {
        block.resize(int(std::min<qint64>(size - done, 1 + qint64(random() % 5000))));
        for (int i = 0; i < int(block.size()); ++i)
            block[i] = byteAt(done + i);
        if (!buffer->writeBlock(block.constData(), int(block.size())))
            qFatal("the buffer takes no more");
        if (random() % 8 == 0)
            std::this_thread::yield();
    }
    buffer->finishIO();
}

struct Findings
{
    std::atomic<int> wrongBytes{0};
    std::atomic<int> endedEarly{0};
    std::atomic<qint64> longestWait{0};
};

/** Reads up to \a limit bytes with a reader of its own and compares them. */
void consume(SharedBuffer buffer, qint64 limit, qint64 size, Random& random, Findings& findings)
{
    const auto reader = MultiUserBuffer::createReaderInterface(std::move(buffer), true);
    QByteArray data;
    qint64 done = 0;
    while (done < limit) {
        data.resize(1 + int(random() % 9000));
        QElapsedTimer elapsed;
        elapsed.start();
        const int count = reader->read(data.data(), int(data.size()));
        const qint64 waited = elapsed.elapsed();
        for (qint64 before = findings.longestWait;
             waited > before && !findings.longestWait.compare_exchange_weak(before, waited);) { }
        if (count <= 0)
            break;
        for (int i = 0; i < count; ++i)
            findings.wrongBytes += data[i] != byteAt(done + i);
        done += count;
    }
    findings.endedEarly += done < std::min(limit, size);
}

} // namespace

/** Readers come and go in threads of their own while a producer writes in another. */
class MultiUserStressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyReaderGetsEveryByte()
    {
        const qint64 size = qint64(4) << 20;
        Owner owner;
        SharedBuffer buffer = owner.makeBuffer();
        Findings findings;
        std::vector<std::thread> threads;
        for (unsigned seed = 1; seed <= 16; ++seed) {
            // A wildcard disconnect must not silence the readers. These are connected before anything
            // is written: unlike readers, others must not connect during an emission elsewhere.
            std::vector<std::unique_ptr<QObject>> others(20);
            for (std::unique_ptr<QObject>& other : others) {
                other = std::make_unique<QObject>();
                QObject::connect(
                    buffer.get(), &QIODevice::bytesWritten, other.get(), [] {},
                    Qt::DirectConnection);
            }
            threads.emplace_back([&, seed, buffer, others = std::move(others)]() mutable {
                Random random(seed);
                for (const std::unique_ptr<QObject>& other : others) {
                    consume(buffer, qint64(random() % 100000), size, random, findings);
                    QObject::disconnect(buffer.get(), nullptr, other.get(), nullptr);
                }
                consume(std::move(buffer), size + 1, size, random, findings);
            });
        }
        std::thread producer([buffer = std::move(buffer)] { produce(buffer, size, 99); });
        producer.join();
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(findings.wrongBytes.load(), 0);
        QCOMPARE(findings.endedEarly.load(), 0);
        QVERIFY2(findings.longestWait < 4000, "a read slept a whole slice");
    }

    void lastReaderDestroysTheBuffer()
    {
        Owner owner;
        Findings findings;
        for (int round = 0; round < 300; ++round) {
            // One in two lives in this thread, which runs no event loop.
            SharedBuffer buffer
                = round % 2 ? owner.makeBuffer() : SharedBuffer(new MultiUserBuffer);
            std::vector<std::thread> threads;
            for (unsigned seed = 1; seed <= 2; ++seed)
                threads.emplace_back([&findings, seed, buffer]() mutable {
                    Random random(seed);
                    consume(std::move(buffer), 20001, 20000, random, findings);
                });
            produce(buffer, 20000, unsigned(round + 1));
            buffer.reset();
            for (std::thread& thread : threads)
                thread.join();
        }
        QCOMPARE(findings.wrongBytes.load(), 0);
        QCOMPARE(findings.endedEarly.load(), 0);
        QVERIFY2(findings.longestWait < 4000, "a read slept a whole slice");
    }
};

QTEST_GUILESS_MAIN(MultiUserStressTest)
#include "MultiUserStressTest.moc"
