#include "support/testBytes.h"

#include <Quarn/access/KelFileAccess.h>

#include <QEventLoop>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QtEndian>

#include <atomic>
#include <csignal>
#include <limits>
#include <sys/resource.h>

using kel::KelFileAccess;

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
            KelFileAccess access(m_path);
            qint64 read = -1; // set in this thread; a QSignalSpy would work in that of the worker
            connect(&access, &KelFileAccess::readFinished, this, [&](qint64 n) { read = n; });
            access.start();
            QVERIFY(access.open(QIODevice::WriteOnly, false));
            access.write(bytes);
            QVERIFY(content() == bytes && access.size() == size); // nothing is held back
            access.close();
            QByteArray target("old");
            QVERIFY(access.open(QIODevice::ReadOnly, false));
            access.read(target, limit);
            QCOMPARE(target, bytes.left(int(qMin(limit, qint64(size)))));
            access.close();
            QVERIFY(openForWorker(access, QIODevice::ReadOnly));
            target = "old";
            access.read(target, limit);
            QTRY_COMPARE(read, qMin(limit, qint64(size)));
            QCOMPARE(target, bytes.left(int(read)));
        }
    }

    void keepsARequestAndRefusesOthers()
    {
        KelFileAccess access(m_path);
        QList<qint64> reads;
        connect(&access, &KelFileAccess::readFinished, this, [&](qint64 n) { reads << n; });
        QVERIFY(access.open(QIODevice::ReadOnly, true));
        QVERIFY(!access.open(QIODevice::WriteOnly, true)); // one is pending
        access.start();
        QTRY_COMPARE(access.error(), QFile::OpenError);
        QByteArray target("old");
        access.read(target, 10);
        QVERIFY(!access.open(QIODevice::WriteOnly, true)); // only a direct one after a failure
        QVERIFY(openForWorker(access, QIODevice::ReadWrite));
        QVERIFY(!access.open(QIODevice::WriteOnly, true)); // it is open
        access.read(target, 10);
        QTRY_COMPARE(reads, QList<qint64>{0});
    }

    /** Many requests, each made on the signal of the one before: in order, none lost or twice. */
    void acceptsTheNextRequestOfEverySlot()
    {
        constexpr int size = 4 * 100000;
        QEventLoop loop; // QTRY_COMPARE would sleep after each request
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        KelFileAccess access(m_path);
        QByteArray data(4, '\0'), expected;
        connect(&access, &KelFileAccess::writeFinished, this, [&] {
            expected += data;
            qToBigEndian(qint32(expected.size()), data.data());
            expected.size() < size ? access.write(data) : loop.quit();
        });
        access.start();
        QVERIFY(openForWorker(access, QIODevice::WriteOnly));
        access.write(data);
        loop.exec();
        QVERIFY(expected.size() == size && content() == expected);
    }

    void refusesDirectSlots()
    {
        KelFileAccess access(m_path);
        QVERIFY(openForWorker(access, QIODevice::ReadWrite));
        std::atomic<int> finished{0}, opened{0};
        const auto slot = [&] {
            access.write("again");
            access.close();
            opened += access.open(QIODevice::ReadOnly, true);
            finished += access.size() > 0;
        };
        connect(&access, &KelFileAccess::writeFinished, this, slot, Qt::DirectConnection);
        access.start();
        access.write("hello");
        QTRY_COMPARE(finished.load(), 1);
        access.write("there"); // neither was the close() accepted
        QTRY_COMPARE(finished.load(), 2);
        QVERIFY(opened == 0 && content() == "hellothere");
    }

    void reportsAFullDisk()
    {
        const auto written = [this](const QString& path, int size) {
            KelFileAccess access(path);
            qint64 count = 0;
            connect(&access, &KelFileAccess::writeFinished, this, [&](qint64 n) { count = n; });
            openForWorker(access, QIODevice::WriteOnly);
            access.write(QByteArray(size, 'x'));
            access.start();
            return QTest::qWaitFor([&] { return count != 0 && access.error() != QFile::NoError; })
                       ? count
                       : 0;
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
             QList<QByteArray>{"new", "idle", "writing", "quit", "slot"}) {
            auto access = std::make_unique<KelFileAccess>(m_path);
            QVERIFY(openForWorker(*access, QIODevice::WriteOnly));
            const bool writes = state != "new" && state != "idle";
            if (writes)
                access->write(QByteArray(data.constData(), data.size())); // a temporary will do
            if (state == "slot") // ended by its own signal
                connect(access.get(), &KelFileAccess::writeFinished, this, [&] { access.reset(); });
            if (state != "new")
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
    /** Opens the file at once, for threaded use. */
    static bool openForWorker(KelFileAccess& access, QIODevice::OpenMode mode)
    {
        const bool opened = access.open(mode, false);
        access.open(mode, true);
        return opened;
    }

    QByteArray content() const
    {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    const QTemporaryDir m_folder;
    const QString m_path = m_folder.filePath(QStringLiteral("file"));
};

QTEST_GUILESS_MAIN(KelFileAccessTest)
#include "KelFileAccessTest.moc"
