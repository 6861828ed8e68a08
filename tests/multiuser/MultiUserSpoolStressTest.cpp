#include "produced.h"
#include "support/Thread.h"

#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>

#include <QEventLoop>
#include <QTest>

#include <atomic>
#include <memory>
#include <random>
#include <vector>

using namespace kel;
using Settings = MultiUserSpoolSettings;

namespace {

using SharedSpool = boost::shared_ptr<MultiUserSpool>;
using Random = std::minstd_rand;

struct Findings
{
    std::atomic<qint64> wrongBytes{0};
    std::atomic<int> endedWrong{0};

    void compare(qint64 position, const char* bytes, qint64 size)
    {
        for (qint64 i = 0; i < size; ++i)
            wrongBytes += bytes[i] != byteAt(position + i);
    }
};

/** Reads up to \a limit bytes with a reader of its own, each time in another way. */
void consume(MultiUserSpoolReader& reader, qint64 limit, qint64 size, Random& random,
             Findings& findings)
{
    QIODevice& device = reader;
    QByteArray data;
    MultiUserSpoolView view;
    qint64 count = 1;
    while (count > 0 && reader.pos() < limit) {
        const qint64 position = reader.pos();
        data.resize(2 + int(random() % 9000));
        switch (random() % 8) {
        case 0:
            count = device.peek(data.data(), data.size());
            break;
        case 1:
            count = device.readLine(data.data(), data.size());
            break;
        case 2:
            view = reader.readView(data.size()); // kept until the next
            count = view.size();
            findings.compare(position, view.data(), count);
            continue;
        case 3:
            if (reader.waitForReadyRead(1))
                findings.endedWrong += reader.bytesAvailable() == 0;
            if (reader.seek(std::max(reader.firstPosition(), position - 3000)) && random() % 2)
                reader.seek(position);
            continue;
        default:
            count = reader.read(data.data(), int(data.size()));
        }
        findings.compare(position, data.constData(), count);
    }
    if (count <= 0 && !reader.cancelled())
        findings.endedWrong += reader.pos() != size || !reader.atEnd();
}

/** Reads it all by signals. */
void consumeByEvents(MultiUserSpoolReader& reader, qint64 size, Findings& findings)
{
    QEventLoop loop;
    const auto read = [&] {
        const qint64 position = reader.pos();
        const QByteArray bytes = reader.readAll();
        findings.compare(position, bytes.constData(), bytes.size());
    };
    QObject::connect(&reader, &QIODevice::readyRead, &reader, read);
    QObject::connect(&reader, &QIODevice::readChannelFinished, &loop, &QEventLoop::quit);
    loop.exec();
    read();
    findings.endedWrong += reader.pos() != size || !reader.atEnd();
}

} // namespace

/** Readers come, go and are cancelled in threads of their own while a producer writes in another. */
class MultiUserSpoolStressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyReaderGetsEveryByte()
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
                    run(settings, size);
                }
    }

private:
    void run(const Settings& settings, qint64 size)
    {
        Findings findings;
        SharedSpool spool(new MultiUserSpool(settings));
        std::vector<std::unique_ptr<Thread>> threads;
        const auto start = [&threads](std::function<void()> work) {
            threads.push_back(std::make_unique<Thread>(std::move(work)));
            threads.back()->start();
        };
        for (unsigned seed = 1; seed <= 2; ++seed) {
            const auto whole = std::make_shared<MultiUserSpoolReader>(spool.get(), true);
            start([=, &findings] {
                Random random(seed);
                consume(*whole, size + 1, size, random, findings);
            });
            start([=, &findings] {
                Random random(seed + 2);
                for (int i = 0; i < 20; ++i) {
                    MultiUserSpoolReader reader(spool.get(), true);
                    consume(reader, qint64(random() % 50000), size, random, findings);
                }
            });
        }
        start([=, &findings] {
            MultiUserSpoolReader reader(spool.get(), false);
            consumeByEvents(reader, size, findings);
        });
        start([=, &findings] { // cancelled in their waits
            for (unsigned seed = 1; seed <= 20; ++seed) {
                MultiUserSpoolReader reader(spool.get(), true);
                Thread thread([&] {
                    Random random(seed);
                    consume(reader, size + 1, size, random, findings);
                });
                thread.start();
                const auto figures = spool->figures();
                findings.endedWrong += figures.lags.empty() || figures.highWater < figures.inMemory;
                reader.cancel();
            }
        });
        findings.endedWrong += !produce(*spool, size, 99);
        spool.reset(); // the last thread takes it along
        threads.clear();
        QCOMPARE(findings.wrongBytes.load(), qint64(0));
        QCOMPARE(findings.endedWrong.load(), 0);
    }
};

QTEST_GUILESS_MAIN(MultiUserSpoolStressTest)
#include "MultiUserSpoolStressTest.moc"
