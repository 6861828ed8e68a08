#include "PatientReader.h"
#include "produced.h"

#include <Quarn/multiuser/MultiUserBuffer.h>

#include <QTest>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

using namespace kel;

namespace {

using SharedBuffer = boost::shared_ptr<MultiUserBuffer>;
using Random = std::minstd_rand;

} // namespace

/** Readers come and go in threads of their own while a producer writes in another. */
class MultiUserStressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_owner.start(); }
    void cleanupTestCase()
    {
        m_owner.quit();
        m_owner.wait();
    }

    void everyReaderGetsEveryByte()
    {
        const qint64 size = qint64(4) << 20;
        SharedBuffer buffer = makeBuffer(true);
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
            threads.emplace_back([this, seed, buffer, others = std::move(others)]() mutable {
                Random random(seed);
                for (const std::unique_ptr<QObject>& other : others) {
                    consume(buffer, qint64(random() % 100000), size, random);
                    QObject::disconnect(buffer.get(), nullptr, other.get(), nullptr);
                }
                consume(std::move(buffer), size + 1, size, random);
            });
        }
        threads.emplace_back(
            [this, buffer = std::move(buffer)] { m_endedEarly += !produce(*buffer, size, 99); });
        joinAndCheck(threads);
    }

    void lastReaderDestroysTheBuffer()
    {
        for (int round = 0; round < 300; ++round) {
            // One in two lives in this thread, which runs no event loop.
            SharedBuffer buffer = makeBuffer(round % 2);
            std::vector<std::thread> threads;
            for (unsigned seed = 1; seed <= 2; ++seed)
                threads.emplace_back([this, seed, buffer]() mutable {
                    Random random(seed);
                    consume(std::move(buffer), 20001, 20000, random);
                });
            m_endedEarly += !produce(*buffer, 20000, unsigned(round + 1));
            buffer.reset();
            joinAndCheck(threads);
        }
    }

private:
    SharedBuffer makeBuffer(bool elsewhere)
    {
        SharedBuffer buffer(new MultiUserBuffer);
        if (elsewhere)
            buffer->moveToThread(&m_owner);
        return buffer;
    }

    /** Reads up to \a limit bytes with a reader of its own and compares them. */
    void consume(SharedBuffer buffer, qint64 limit, qint64 size, Random& random)
    {
        PatientReader reader(std::move(buffer), true);
        QByteArray data;
        qint64 done = 0;
        for (int count = 1; count > 0 && done < limit; done += count) {
            data.resize(1 + int(random() % 9000));
            count = std::max(reader.read(data.data(), int(data.size())), 0);
            for (int i = 0; i < count; ++i)
                m_wrongBytes += data[i] != byteAt(done + i);
        }
        m_endedEarly += done < std::min(limit, size);
    }

    void joinAndCheck(std::vector<std::thread>& threads)
    {
        for (std::thread& thread : threads)
            thread.join();
        QVERIFY(m_wrongBytes == 0 && m_endedEarly == 0);
    }

    QThread m_owner; // with an event loop that buffers live in
    std::atomic<int> m_wrongBytes{0}, m_endedEarly{0};
};

QTEST_GUILESS_MAIN(MultiUserStressTest)
#include "MultiUserStressTest.moc"
