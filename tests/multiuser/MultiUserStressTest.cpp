#include "PatientReader.h"
#include "support/Thread.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>

#include <QEventLoop>
#include <QTest>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <random>
#include <thread>

using namespace kel;
using Settings = MultiUserSpoolSettings;

namespace {

using SharedBuffer = boost::shared_ptr<MultiUserBuffer>;
using SharedSpool = boost::shared_ptr<MultiUserSpool>;
using Random = std::minstd_rand;

/** The byte that belongs at \a position. */
char byteAt(qint64 position)
{
    return char((position * 2654435761) >> 13);
}

std::atomic<qint64> wrongBytes{0};
std::atomic<int> endedWrong{0};

void compare(qint64 position, const char* bytes, qint64 size)
{
    for (qint64 i = 0; i < size; ++i)
        wrongBytes += bytes[i] != byteAt(position + i);
}

/** Writes \a size bytes in blocks of random lengths, each again when it is refused. */
template <typename Stream>
void produce(Stream& stream, qint64 size, unsigned seed)
{
    Random random(seed);
    QByteArray block;
    for (qint64 done = 0; done < size; done += block.size()) {
        block.resize(int(std::min<qint64>(size - done, 1 + qint64(random() % 5000))));
        for (int i = 0; i < int(block.size()); ++i)
            block[i] = byteAt(done + i);
        while (!stream.writeBlock(block.constData(), int(block.size()))
               && !stream.ioFailureDetected())
            std::this_thread::yield();
        if (random() % 8 == 0)
            std::this_thread::yield();
    }
    stream.finishIO();
    endedWrong += stream.streamSize() != size;
}

/** Reads up to \a limit bytes with a reader of its own. */
void consume(SharedBuffer buffer, qint64 limit, qint64 size, Random& random)
{
    PatientReader reader(std::move(buffer), true);
    QByteArray data;
    qint64 done = 0;
    for (int count = 1; count > 0 && done < limit; done += count) {
        data.resize(1 + int(random() % 9000));
        count = std::max(reader.read(data.data(), int(data.size())), 0);
        compare(done, data.constData(), count);
    }
    endedWrong += done < std::min(limit, size);
}

/** Reads up to \a limit bytes, each time in another way. */
void consume(MultiUserSpoolReader& reader, qint64 limit, qint64 size, Random random)
{
    QByteArray data;
    MultiUserSpoolView view;
    qint64 count = 1;
    while (count > 0 && reader.pos() < limit) {
        const qint64 position = reader.pos();
        data.resize(2 + int(random() % 9000));
        switch (random() % 8) {
        case 0:
            count = static_cast<QIODevice&>(reader).readLine(data.data(), data.size());
            break;
        case 1:
            view = reader.readView(data.size()); // kept until the next
            count = view.size();
            compare(position, view.data(), count);
            continue;
        case 2:
            if (reader.waitForReadyRead(1))
                endedWrong += reader.bytesAvailable() == 0;
            if (reader.seek(std::max(reader.firstPosition(), position - 3000)) && random() % 2)
                reader.seek(position);
            continue;
        default:
            count = reader.read(data.data(), int(data.size()));
        }
        compare(position, data.constData(), count);
    }
    if (count <= 0 && !reader.cancelled())
        endedWrong += reader.pos() != size || !reader.atEnd();
}

/** Reads it all by signals. */
void consumeByEvents(MultiUserSpoolReader& reader, qint64 size)
{
    QEventLoop loop;
    const auto read = [&] {
        const qint64 position = reader.pos();
        const QByteArray bytes = reader.readAll();
        compare(position, bytes.constData(), bytes.size());
    };
    QObject::connect(&reader, &QIODevice::readyRead, &reader, read);
    QObject::connect(&reader, &QIODevice::readChannelFinished, &loop, &QEventLoop::quit);
    loop.exec();
    read();
    endedWrong += reader.pos() != size || !reader.atEnd();
}

} // namespace

/** Readers come, go and are cancelled in threads of their own while a producer writes in another. */
class MultiUserStressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_owner.start(); }
    void cleanup() { QVERIFY(wrongBytes == 0 && endedWrong == 0); }
    void cleanupTestCase()
    {
        m_owner.quit();
        m_owner.wait();
    }

    void everyReaderOfABufferGetsEveryByte()
    {
        constexpr qint64 size = qint64(4) << 20;
        SharedBuffer buffer = makeBuffer(true);
        Threads threads;
        for (unsigned seed = 1; seed <= 16; ++seed) {
            // A wildcard disconnect must not silence the readers. These are connected before anything
            // is written: unlike readers, others must not connect during an emission elsewhere.
            const auto others = std::make_shared<std::array<QObject, 20>>();
            for (QObject& other : *others)
                QObject::connect(
                    buffer.get(), &QIODevice::bytesWritten, &other, [] {}, Qt::DirectConnection);
            threads.start([seed, buffer, others]() mutable {
                Random random(seed);
                for (const QObject& other : *others) {
                    consume(buffer, qint64(random() % 100000), size, random);
                    QObject::disconnect(buffer.get(), nullptr, &other, nullptr);
                }
                consume(std::move(buffer), size + 1, size, random);
            });
        }
        threads.start([buffer = std::move(buffer)] { produce(*buffer, size, 99); });
    }

    void lastReaderDestroysTheBuffer()
    {
        for (int round = 0; round < 300; ++round) {
            // One in two lives in this thread, which runs no event loop.
            SharedBuffer buffer = makeBuffer(round % 2);
            Threads threads;
            for (unsigned seed = 1; seed <= 2; ++seed)
                threads.start([seed, buffer]() mutable {
                    Random random(seed);
                    consume(std::move(buffer), 20001, 20000, random);
                });
            produce(*buffer, 20000, unsigned(round + 1));
            buffer.reset();
        }
    }

    void everyReaderOfASpoolGetsEveryByte()
    {
        const qint64 size = qint64(1) << 19;
        for (const auto keep : {Settings::KeepEverything, Settings::KeepUnread})
            for (const auto atLimit :
                 {Settings::SpillToDisk, Settings::HoldBack, Settings::RefuseWrite})
                for (const qint64 limit : {qint64(1), size / 8, 2 * size}) {
                    if (keep == Settings::KeepEverything && atLimit != Settings::SpillToDisk
                        && limit < size)
                        continue; // nobody could make room
                    Settings settings;
                    settings.memoryLimit = limit;
                    settings.keep = keep;
                    settings.atLimit = atLimit;
                    spool(settings, size);
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

    static void spool(const Settings& settings, qint64 size)
    {
        SharedSpool spool(new MultiUserSpool(settings));
        Threads threads;
        for (unsigned seed = 1; seed <= 2; ++seed) {
            const auto whole = std::make_shared<MultiUserSpoolReader>(spool.get(), true);
            threads.start([=] { consume(*whole, size + 1, size, Random(seed)); });
            threads.start([=] {
                Random random(seed + 2);
                for (int i = 0; i < 20; ++i) {
                    MultiUserSpoolReader reader(spool.get(), true);
                    consume(reader, qint64(random() % 50000), size, Random(random()));
                }
            });
        }
        threads.start([=] {
            MultiUserSpoolReader reader(spool.get(), false);
            consumeByEvents(reader, size);
        });
        threads.start([=] { // cancelled in their waits
            for (unsigned seed = 1; seed <= 20; ++seed) {
                MultiUserSpoolReader reader(spool.get(), true);
                Thread thread([&] { consume(reader, size + 1, size, Random(seed)); });
                thread.start();
                const auto figures = spool->figures();
                endedWrong += figures.lags.empty() || figures.highWater < figures.inMemory;
                reader.cancel();
            }
        });
        produce(*spool, size, 99);
        spool.reset(); // the last thread takes it along
    }

    QThread m_owner; // with an event loop that buffers live in
};

QTEST_GUILESS_MAIN(MultiUserStressTest)
#include "MultiUserStressTest.moc"
