#include "support/ResourceLimit.h"
#include "support/ShortMemory.h"
#include "support/TemporaryFolder.h"
#include "support/Thread.h"
#include "support/processState.h"
#include "support/testBytes.h"

#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>

#include <QDir>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <random>

using namespace kel;
using Settings = MultiUserSpoolSettings;

namespace {

constexpr qint64 chunk = 4096; // of the smallest limit
constexpr qint64 limit = 4 * chunk;

/** Bytes with lines of all lengths, and \a size of them from \a position on. */
QByteArray bytesAt(qint64 position, qint64 size)
{
    static const QByteArray bytes = [] {
        QByteArray made = testBytes(4 << 20);
        for (int i = 0; i < int(made.size()); i += (i % 7 == 0) ? 20000 : i % 97)
            made[i++] = '\n';
        return made;
    }();
    return bytes.mid(int(position), int(size));
}

Settings tiny(Settings::Keep keep, Settings::AtLimit atLimit)
{
    Settings settings;
    settings.memoryLimit = 1; // counts as four of the smallest chunks
    settings.keep = keep;
    settings.atLimit = atLimit;
    return settings;
}

/** What a model knows of a reader. */
struct Modelled
{
    std::unique_ptr<MultiUserSpoolReader> reader;
    qint64 position;
    MultiUserSpoolView view;
    qint64 viewBegin = 0;

    bool viewIsRight() const
    {
        return bytesAt(viewBegin, view.size())
               == QByteArray::fromRawData(view.data(), int(view.size()));
    }
};

} // namespace

class MultiUserSpoolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /** Random operations of readers that don't block answer as a plain array would. */
    void answersAsAModelDoes()
    {
        for (unsigned seed = 1; seed <= 10; ++seed) {
            runModel(tiny(Settings::KeepEverything, Settings::SpillToDisk), seed);
            runModel(tiny(Settings::KeepUnread, Settings::SpillToDisk), seed);
            runModel(tiny(Settings::KeepEverything, Settings::HoldBack), seed);
            runModel(tiny(Settings::KeepUnread, Settings::RefuseWrite), seed);
        }
    }

    void failuresComeBehindTheBytes()
    {
        const TemporaryFolder folder;
        Settings large;
        large.memoryLimit = qint64(1) << 40;
        Settings spilling = tiny(Settings::KeepEverything, Settings::SpillToDisk);
        spilling.spillFolder = folder.path();
        Settings nowhere = spilling;
        nowhere.spillFolder = folder.at("missing");
        const QString noFolder = qt_error_string(hasPosix ? ENOENT : 3);
        const struct
        {
            const char* name;
            Settings settings;
            std::function<void(std::unique_ptr<MultiUserSpool>&)> end;
            const char* reason;
            bool limits = false;
        } cases[] = {
            {"disk full", spilling,
             [](auto& spool) {
                 const ResourceLimit fileSize(ResourceLimit::FileSize, 10 * chunk + 7);
                 while (spool->write(bytesAt(spool->position(), 1000)) == 1000) { }
                 QCOMPARE(spool->size(), limit + 10 * chunk);
                 QVERIFY(spool->errorString().contains(QStringLiteral("too large")));
             },
             "too large", true},
            {"folder missing", nowhere,
             [](auto& spool) {
                 QCOMPARE(spool->write(bytesAt(5, limit)), limit - 5);
                 QCOMPARE(spool->write("x"), qint64(-1));
             },
             "missing: %"},
            {"no temporary folder", tiny(Settings::KeepEverything, Settings::SpillToDisk),
             [&](auto& spool) {
                 const char* const name = hasPosix ? "TMPDIR" : "TMP";
                 const QByteArray former = qgetenv(name);
                 qputenv(name, folder.root() + "/missing"); // for root / would do
                 QCOMPARE(spool->write(bytesAt(5, limit)), limit - 5);
                 former.isNull() ? qunsetenv(name) : qputenv(name, former);
             },
             hasPosix ? "the temporary folder: %" : "missing: %"},
            {"memory refused", large,
             [](auto& spool) {
                 const QByteArray block = bytesAt(0, 1 << 20);
                 const ResourceLimit memory(ResourceLimit::Memory, addressSpace() + (8 << 20));
                 for (int i = 0; i < 100 && spool->writeBlock(block.constData(), 1 << 20); ++i) { }
                 QVERIFY(spool->size() < 20 << 20);
             },
             "memory", true},
            {"reason given", large,
             [](auto& spool) { spool->setErrorString(QStringLiteral("cable torn")); },
             "cable torn"},
            {"cancelled", large, [](auto& spool) { spool->cancel(); }, "cancelled"},
            {"destroyed", large, [](auto& spool) { spool.reset(); }, "without finishing"},
        };
        for (const auto& each : cases) {
            if (!hasPosix && each.limits)
                continue;
            auto spool = std::make_unique<MultiUserSpool>(each.settings);
            MultiUserSpoolReader reader(spool.get(), true);
            spool->write(bytesAt(0, 5));
            each.end(spool);
            if (spool) {
                spool->finishIO(); // which doesn't make it good
                QVERIFY2(spool->ioFailureDetected() && spool->write("", 0) == 0, each.name);
            }
            const qint64 written = reader.size();
            const QByteArray bytes = reader.readAll();
            QVERIFY2(bytes.size() == written && bytes.startsWith(bytesAt(0, 5)), each.name);
            char byte = 0;
            QVERIFY2(reader.read(&byte, 1) == -1 && reader.ioFailureDetected(), each.name);
            QVERIFY2(reader.errorString().contains(
                         QString::fromLatin1(each.reason).replace(QLatin1Char('%'), noFolder)),
                     qPrintable(reader.errorString()));
            QVERIFY2(!reader.atEnd(), each.name);
        }
    }

    void brokenDiskDeliversNothing()
    {
#if !QUARN_HAS_POSIX
        QSKIP("An open file cannot be broken here", );
#else
        const TemporaryFolder folder;
        Settings settings = tiny(Settings::KeepEverything, Settings::SpillToDisk);
        settings.spillFolder = folder.path();
        MultiUserSpool spool(settings);
        MultiUserSpoolReader reader(&spool, true);
        QCOMPARE(spool.write(bytesAt(0, 3 * limit)), 3 * limit);
        spool.finishIO();
        QCOMPARE(QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 0);
        const QDir open(QStringLiteral("/proc/self/fd"));
        for (const QString& name : open.entryList(QDir::System | QDir::Files))
            if (QFile::symLinkTarget(open.filePath(name)).startsWith(folder.path()))
                ::dup2(::open("/dev/null", O_WRONLY), name.toInt());
        char bytes[10];
        QCOMPARE(reader.read(bytes, 10), -1);
        QVERIFY(reader.ioFailureDetected() && reader.peekView().isEmpty());
        QVERIFY(reader.seek(2 * limit)); // what is in memory is still right
        QVERIFY(reader.readAll() == bytesAt(2 * limit, limit) && reader.atEnd());
#endif
    }

    /** Each has something to end a wait in another thread, for good. */
    void waitsEnd()
    {
        const struct
        {
            const char* name;
            std::function<void(MultiUserSpool&, std::unique_ptr<MultiUserSpoolReader>&)> end;
            int count;
            bool early; // may come before the wait, which only /proc tells of
        } cases[] = {
            {"write", [](auto& spool, auto&) { spool.write("x"); }, 1, true},
            {"finish", [](auto& spool, auto&) { spool.finishIO(); }, 0, true},
            {"failure", [](auto& spool, auto&) { spool.cancel(); }, -1, true},
            {"cancel", [](auto&, auto& reader) { reader->cancel(); }, -1, true},
            {"destruction", [](auto&, auto& reader) { reader.reset(); }, -1, false},
        };
        for (const auto& each : cases)
            for (int round = 0; round < 5 && (hasPosix || each.early); ++round) {
                MultiUserSpool spool;
                auto reader = std::make_unique<MultiUserSpoolReader>(&spool, true);
                QSemaphore begun;
                QString name;
                int count = 7;
                {
                    Thread thread([&, stream = reader.get()] {
                        char byte = 0;
                        name = currentThread();
                        begun.release();
                        count = stream->read(&byte, 1);
                    });
                    thread.start();
                    begun.acquire();
                    if (round == 0 || !each.early)
                        QTRY_VERIFY(sleeps(name));
                    each.end(spool, reader);
                }
                QVERIFY2(count == each.count, each.name);
            }
    }

    void waitForReadyReadKeepsItsDeadline()
    {
        MultiUserSpool spool;
        MultiUserSpoolReader reader(&spool, false);
        Thread noise([&] { // wakes, but never with a byte behind the position
            for (int i = 0; i < 100; ++i)
                spool.write("x");
        });
        reader.seek(1000);
        QElapsedTimer elapsed;
        elapsed.start();
        noise.start();
        QVERIFY(!reader.waitForReadyRead(50));
        QVERIFY(elapsed.elapsed() >= 50);
        noise.wait();
        reader.seek(99);
        QVERIFY(reader.waitForReadyRead(0));
        spool.finishIO();
        reader.seek(100);
        QVERIFY(!reader.waitForReadyRead(-1));
    }

    void producerIsHeldBack()
    {
        boost::shared_ptr<MultiUserSpool> spool(
            new MultiUserSpool(tiny(Settings::KeepUnread, Settings::HoldBack)));
        auto reader = std::make_unique<MultiUserSpoolReader>(spool.get(), true);
        std::atomic<qint64> taken{0};
        Thread producer([&] { taken = spool->write(bytesAt(0, 5 * limit)); });
        producer.start();
        QByteArray bytes;
        while (bytes.size() < 2 * limit) {
            bytes += reader->read(qint64(1000));
            QVERIFY(spool->figures().highWater <= limit + chunk);
        }
        QCOMPARE(bytes, bytesAt(0, bytes.size()));
        reader.reset(); // nobody is left to make room
        producer.wait();
        QVERIFY(taken >= 2 * limit && taken < 5 * limit);
        QVERIFY(!spool->ioFailureDetected());
        MultiUserSpoolReader late(spool.get(), false);
        const qint64 first = late.firstPosition();
        QVERIFY(first > 0 && first <= bytes.size());
        QCOMPARE(late.readAll(), bytesAt(first, taken - first));
        Thread another([&] { taken = spool->write(bytesAt(0, 5 * limit)); });
        another.start();
        spool->cancel();
        another.wait();
        QVERIFY(taken < 5 * limit);
    }

    void oneNotificationIsOnItsWay()
    {
        MultiUserSpool spool;
        spool.write("early");
        MultiUserSpoolReader reader(&spool, false);
        const QSignalSpy ready(&reader, &QIODevice::readyRead);
        const QSignalSpy finished(&reader, &QIODevice::readChannelFinished);
        int nested = 0;
        connect(&reader, &QIODevice::readyRead, &reader, [&] {
            QCOMPARE(nested++, 0);
            if (ready.count() == 2)
                spool.write("from a slot");
            QCoreApplication::processEvents();
            --nested;
        });
        QTRY_COMPARE(ready.count(), 1);
        for (int i = 0; i < 100; ++i)
            spool.write("x");
        QTRY_COMPARE(ready.count(), 3);
        QCoreApplication::processEvents();
        QCOMPARE(ready.count(), 3);
        {
            const ShortMemory here; // the next write makes up for it
            QCOMPARE(static_cast<QIODevice&>(spool).write("untold", 6), qint64(6));
        }
        spool.write("last");
        spool.finishIO();
        QTRY_COMPARE(finished.count(), 1);
        QCOMPARE(ready.count(), 4);
        QVERIFY(reader.readAll().endsWith("last") && reader.atEnd());
    }

private:
    void runModel(const Settings& settings, unsigned seed)
    {
        std::minstd_rand random(seed);
        const auto below = [&random](qint64 bound) { return qint64(random()) % bound; };
        MultiUserSpool spool(settings);
        std::vector<Modelled> readers;
        const bool all = settings.keep == Settings::KeepEverything;
        const bool spills = settings.atLimit == Settings::SpillToDisk;
        qint64 size = 0;
        qint64 first = 0;
        for (int step = 0; step < 400; ++step) {
            if (!all && !readers.empty()) {
                qint64 least = size;
                for (const Modelled& each : readers)
                    least = std::min(least, each.position);
                first = std::max(first, least / chunk * chunk);
            }
            QCOMPARE(spool.firstPosition(), first);
            const qint64 length = below(3000);
            const bool fits = spills || length <= first + limit - size;
            const qint64 partial
                = settings.atLimit == Settings::HoldBack ? first + limit - size : 0;
            const qint64 taken = fits ? length : partial > 0 ? partial : -1;
            QCOMPARE(spool.write(bytesAt(size, length)), taken);
            size += std::max<qint64>(taken, 0);
            QVERIFY(spool.figures().highWater <= limit + 5 * chunk); // with all views

            if (readers.size() < 4 && below(10) == 0)
                readers.push_back(
                    {std::make_unique<MultiUserSpoolReader>(&spool, false), first, {}, 0});
            if (readers.empty())
                continue;
            const auto chosen = readers.begin() + int(below(qint64(readers.size())));
            Modelled& each = *chosen;
            if (below(40) == 0) {
                QVERIFY(each.viewIsRight());
                readers.erase(chosen);
                continue;
            }
            MultiUserSpoolReader& reader = *each.reader;
            const qint64 left = std::max<qint64>(size - each.position, 0);
            const qint64 wanted = below(9000);
            const QByteArray ahead = bytesAt(each.position, std::min(left, wanted));
            QCOMPARE(reader.bytesAvailable(), left);
            switch (below(7)) {
            case 0: {
                const qint64 to = below(size + 100);
                QCOMPARE(reader.seek(to), to >= first);
                each.position = to >= first ? to : each.position;
                break;
            }
            case 1:
                QCOMPARE(static_cast<QIODevice&>(reader).peek(wanted), ahead);
                break;
            case 2:
                QVERIFY(each.viewIsRight());
                each.view = reader.readView(wanted);
                each.viewBegin = each.position;
                each.position += each.view.size();
                QVERIFY(each.viewIsRight() && each.view.isEmpty() == ahead.isEmpty());
                break;
            case 3: {
                const QByteArray rest = bytesAt(each.position, left);
                const int end = int(rest.indexOf('\n'));
                QCOMPARE(reader.canReadLine(), end >= 0);
                QCOMPARE(reader.readLine(), end >= 0 ? rest.left(end + 1) : rest);
                each.position = reader.pos();
                break;
            }
            case 4:
                reader.startTransaction();
                QCOMPARE(reader.read(wanted), ahead);
                reader.read(wanted);
                reader.rollbackTransaction();
                break;
            default:
                QCOMPARE(reader.read(wanted), ahead);
                each.position += ahead.size();
            }
            QCOMPARE(reader.pos(), each.position);
            reader.peekView(0); // passes what Qt's calls have read
        }
    }
};

QTEST_GUILESS_MAIN(MultiUserSpoolTest)
#include "MultiUserSpoolTest.moc"
