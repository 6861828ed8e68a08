#include "support/TemporaryFolder.h"
#include "support/posix.h"
#include "support/testBytes.h"

#include <Quarn/access/KelFileAccess.h>

#include <QEventLoop>
#include <QTest>
#include <QTimer>
#include <QtEndian>

#include <atomic>
#include <limits>

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
            QVERIFY(m_folder.contents("file") == bytes
                    && access.size() == size); // nothing is held back
            access.close();
            QByteArray direct("old"), threaded("old");
            QVERIFY(access.open(QIODevice::ReadOnly, true) && access.work());
            access.read(threaded, limit);
            QVERIFY(access.work() && access.count == expected.size());
            access.close();
            QVERIFY(access.work() && access.open(QIODevice::ReadOnly, false)); // it was closed
            access.read(direct, limit);
            QVERIFY(direct == expected && threaded == expected);
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
        access.write("hello");
        QVERIFY(access.work() && access.count == 5);
        access.write("there");
        access.open(QIODevice::WriteOnly, false); // refused, but direct now, and after the write
        access.close();
        QCOMPARE(m_folder.contents("file"), QByteArray("hellothere"));
        Access other(m_path + QChar(QChar::Null)); // which is not that file
        QVERIFY(!other.open(QIODevice::WriteOnly, false) && other.error() == QFile::OpenError);
        QVERIFY(!other.exists() && m_folder.contents("file") == "hellothere");
    }

    /**
     * Many requests, each made on the signal of the one before: in order, none lost or twice. Those
     * of slots on the worker's own thread are refused.
     */
    void acceptsTheNextRequestOfEverySlot()
    {
        constexpr int size = 4 * (hasPosix ? 50000 : 1000); // Wine's threads take long to wake
        QEventLoop loop; // QTRY_COMPARE would sleep after each request
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        Access access(m_path);
        QByteArray data(4, '\0'), expected;
        connect(&access, &Access::writeFinished, this, [&] {
            expected += data;
            qToBigEndian(qint32(expected.size()), data.data());
            expected.size() < size ? access.write(data) : loop.quit();
        });
        bool accepted = false;
        const auto direct = [&] {
            access.write("again");
            access.close();
            accepted |= access.open(QIODevice::ReadOnly, true) || access.size() == 0;
        };
        connect(&access, &Access::writeFinished, this, direct, Qt::DirectConnection);
        access.start();
        QVERIFY(access.openForWorker(QIODevice::WriteOnly));
        access.write(data);
        loop.exec();
        QVERIFY(access.work() && !accepted && expected.size() == size
                && m_folder.contents("file") == expected);
    }

    void reportsAFullDisk()
    {
        if (!hasPosix)
            QSKIP("There is no full device here", );
        for (const int size : {5, 1000000}) { // fits in a buffer, or doesn't
            Access access(QStringLiteral("/dev/full"));
            QVERIFY(access.openForWorker(QIODevice::WriteOnly));
            access.write(QByteArray(size, 'x'));
            QVERIFY(access.work() && access.error() != QFile::NoError && access.count == -1);
        }
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
            QVERIFY2(m_folder.contents("file") == (writes ? data : QByteArray()),
                     state.constData());
        }
    }

private:
    TemporaryFolder m_folder;
    const QString m_path = m_folder.at("file");
};

QTEST_GUILESS_MAIN(KelFileAccessTest)
#include "KelFileAccessTest.moc"
