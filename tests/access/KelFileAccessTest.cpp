#include "support/FailingReads.h"
#include "support/TemporaryFolder.h"
#include "support/testBytes.h"

#include <Quarn/access/KelFileAccess.h>

#include <QEventLoop>
#include <QTest>
#include <QTimer>
#include <QtEndian>

#include <atomic>
#include <csignal>
#include <limits>
#include <sys/resource.h>

using kel::KelFileAccess;

namespace {

/** Remembers the last count that was signalled. */
class Access : public KelFileAccess
{
public:
    explicit Access(const QString& path) : KelFileAccess(path)
    {
        connect(this, &KelFileAccess::readFinished, [this](qint64 bytes) { count = bytes; });
        connect(this, &KelFileAccess::writeFinished, [this](qint64 bytes) { count = bytes; });
    }

    /** Opens the file at once, for threaded use. */
    bool openForWorker(QIODevice::OpenMode mode)
    {
        const bool opened = open(mode, false);
        open(mode, true);
        return opened;
    }

    /** Has the worker do what it has accepted. */
    bool work()
    {
        start();
        stop();
        return wait(60000) && isIdle();
    }

    std::atomic<qint64> count{-2};
};

} // namespace

/** Both modes, which requests are accepted, full disks, and how the worker ends. */
class KelFileAccessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QFile::remove(m_path); }

    void readsUpToTheLimit()
    {
        constexpr qint64 all = std::numeric_limits<qint64>::max();
        const std::pair<int, qint64> cases[]
            = {{10, 4}, {10, 100}, {0, all}, {16385, all}, {5000000, all}};
        for (const auto& [size, limit] : cases) {
            const QByteArray bytes = testBytes(size);
            const QByteArray expected = bytes.left(int(qMin(limit, qint64(size))));
            Access access(m_path);
            QVERIFY(access.open(QIODevice::WriteOnly, false));
            access.write(bytes);
            QVERIFY(content() == bytes && access.size() == size); // nothing is held back
            access.close();
            QByteArray direct("old"), threaded("old");
            QVERIFY(access.open(QIODevice::ReadOnly, false));
            access.read(direct, limit);
            access.close();
            QVERIFY(access.openForWorker(QIODevice::ReadOnly));
            access.read(threaded, limit);
            QVERIFY(access.work() && access.count == expected.size());
            QVERIFY(direct == expected && threaded == expected);
        }
    }

    void tellsAFailedRead()
    {
        const QByteArray bytes = testBytes(1000);
        Access access(m_path);
        for (int reads = 0; reads < 24; ++reads) {
            QVERIFY(access.open(QIODevice::ReadWrite, false));
            access.write(bytes);
            access.close();
            QVERIFY(access.open(QIODevice::ReadOnly, false));
            const FailingReads failing(reads / 2, reads % 2);
            QByteArray target;
            access.read(target, 2000);
            QVERIFY(target == bytes || (access.error() == QFile::ReadError && failing.happened()));
            access.close();
        }
    }

    void keepsARequestAndRefusesOthers()
    {
        Access access(m_path);
        QVERIFY(access.open(QIODevice::ReadOnly, true));
        QVERIFY(!access.isIdle() && !access.open(QIODevice::WriteOnly, true)); // one is pending
        QVERIFY(access.work() && access.error() == QFile::OpenError);
        QByteArray target("old");
        access.read(target, 10);
        QVERIFY(access.isIdle() && target == "old");
        QVERIFY(!access.open(QIODevice::WriteOnly, true)); // only a direct one after a failure
        QVERIFY(access.openForWorker(QIODevice::ReadWrite));
        QVERIFY(!access.open(QIODevice::WriteOnly, true)); // it is open
        access.read(target, 10);
        QVERIFY(access.work() && access.count == 0);
    }

    void opensAndClosesInTheWorker()
    {
        Access access(m_path);
        QVERIFY(access.open(QIODevice::WriteOnly, true) && access.work());
        access.write("hello");
        QVERIFY(access.work() && access.count == 5);
        access.write("there");
        access.open(QIODevice::WriteOnly, false); // refused, but direct now, and after the write
        access.close();
        QCOMPARE(content(), QByteArray("hellothere"));
        for (int round = 0; round < 2; ++round) {
            QVERIFY(access.open(QIODevice::ReadOnly, true) && access.work()); // it was closed
            QByteArray target;
            access.read(target, 100);
            QVERIFY(access.work() && target == "hellothere");
            access.close();
            QVERIFY(access.work());
        }
    }

    /** Many requests, each made on the signal of the one before: in order, none lost or twice. */
    void acceptsTheNextRequestOfEverySlot()
    {
        constexpr int size = 4 * 100000;
        QEventLoop loop; // QTRY_COMPARE would sleep after each request
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        Access access(m_path);
        QByteArray data(4, '\0'), expected;
        connect(&access, &Access::writeFinished, this, [&] {
            expected += data;
            qToBigEndian(qint32(expected.size()), data.data());
            expected.size() < size ? access.write(data) : loop.quit();
        });
        access.start();
        QVERIFY(access.openForWorker(QIODevice::WriteOnly));
        access.write(data);
        loop.exec();
        QVERIFY(expected.size() == size && content() == expected && access.work());
    }

    void refusesDirectSlots()
    {
        Access access(m_path);
        QVERIFY(access.openForWorker(QIODevice::ReadWrite));
        std::atomic<int> finished{0}, opened{0};
        const auto slot = [&] {
            access.write("again");
            access.close();
            opened += access.open(QIODevice::ReadOnly, true);
            finished += access.size() > 0;
        };
        connect(&access, &Access::writeFinished, this, slot, Qt::DirectConnection);
        access.start();
        access.write("hello");
        QTRY_COMPARE(finished.load(), 1);
        access.write("there"); // neither was the close() accepted
        QTRY_COMPARE(finished.load(), 2);
        QVERIFY(opened == 0 && content() == "hellothere");
    }

    void reportsAFullDisk()
    {
        const auto written = [](const QString& path, int size) {
            Access access(path);
            access.openForWorker(QIODevice::WriteOnly);
            access.write(QByteArray(size, 'x'));
            return access.work() && access.error() != QFile::NoError ? access.count.load() : 0;
        };
        for (const int size : {5, 1000000}) // fits in a buffer, or doesn't
            QCOMPARE(written(QStringLiteral("/dev/full"), size), qint64(-1));
        rlimit before;
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit limit = {1000, before.rlim_max};
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        const qint64 partly = written(m_path, 1500);
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
        QCOMPARE(partly, qint64(1000));
    }

    void endsInEveryState()
    {
        const QByteArray data(20000000, 'x');
        for (const QByteArray& state :
             QList<QByteArray>{"new", "idle", "never started", "writing", "quit", "slot"}) {
            auto access = std::make_unique<KelFileAccess>(m_path);
            QVERIFY(access->open(QIODevice::WriteOnly, false));
            access->open(QIODevice::WriteOnly, true);
            const bool writes = state != "new" && state != "idle";
            if (writes)
                access->write(QByteArray(data.constData(), data.size())); // a temporary will do
            if (state == "slot") // ended by its own signal
                connect(access.get(), &KelFileAccess::writeFinished, this, [&] { access.reset(); });
            if (state != "new" && state != "never started")
                access->start();
            if (state == "quit")
                access->quit();
            if (state == "slot")
                QTRY_VERIFY(!access);
            access.reset();
            QVERIFY2(content() == (writes ? data : QByteArray()), state.constData());
        }
    }

private:
    QByteArray content() const
    {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    TemporaryFolder m_folder;
    const QString m_path = m_folder.at("file");
};

QTEST_GUILESS_MAIN(KelFileAccessTest)
#include "KelFileAccessTest.moc"
