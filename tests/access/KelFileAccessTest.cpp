#include "support/TestRegistry.h"

#include <Quarn/access/KelFileAccess.h>

#include <QEventLoop>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QtEndian>

#include <atomic>
#include <limits>
#include <memory>

using namespace kel;

namespace {

constexpr qint64 largest = std::numeric_limits<qint64>::max();

std::atomic<int> warnings{0};

void countWarnings(QtMsgType type, const QMessageLogContext&, const QString&)
{
    warnings += type != QtDebugMsg;
}

/** Opens the file at once, for threaded use. */
bool openForWorker(KelFileAccess& access, QIODevice::OpenMode mode)
{
    const bool opened = access.open(mode, false);
    access.open(mode, true);
    return opened;
}

} // namespace

/** Both modes, which requests are accepted, and how the worker ends. */
class KelFileAccessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void readsUpToTheLimit_data();
    void readsUpToTheLimit();
    void directModeHoldsNothingBack();
    void keepsARequestUntilTheStart();
    void failedOpenRefusesAllButDirect();
    void acceptsTheNextRequestOfEverySlot();
    void refusesDirectSlots();
    void endsInEveryState_data();
    void endsInEveryState();

private:
    void fill(const QByteArray& bytes);
    QByteArray content() const;

    QTemporaryDir m_folder;
    QString m_path;
};

void KelFileAccessTest::initTestCase()
{
    QVERIFY(m_folder.isValid());
}

void KelFileAccessTest::init()
{
    m_path = m_folder.filePath(QString::fromLatin1(QTest::currentTestFunction()));
    QFile::remove(m_path);
}

void KelFileAccessTest::fill(const QByteArray& bytes)
{
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

QByteArray KelFileAccessTest::content() const
{
    QFile file(m_path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void KelFileAccessTest::readsUpToTheLimit_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<qint64>("maxSize");
    QTest::newRow("less than there is") << 10 << qint64(4);
    QTest::newRow("more than there is") << 10 << qint64(100);
    QTest::newRow("all of an empty file") << 0 << largest;
    QTest::newRow("one piece and a byte") << 16385 << largest;
    QTest::newRow("many pieces") << 5000000 << largest;
}

void KelFileAccessTest::readsUpToTheLimit()
{
    QFETCH(int, size);
    QFETCH(qint64, maxSize);
    QByteArray bytes(size, 'x');
    for (int i = 0; i < size; ++i)
        bytes[i] = char(i % 251);
    fill(bytes);
    const QByteArray expected = bytes.left(int(qMin(maxSize, qint64(size))));

    KelFileAccess access(m_path);
    QByteArray target("old");
    QVERIFY(access.open(QIODevice::ReadOnly, false));
    access.read(target, maxSize);
    QCOMPARE(target, expected);
    access.close();

    target = "old";
    qint64 read = -1; // set in this thread; a QSignalSpy would work in that of the worker
    connect(&access, &KelFileAccess::readFinished, this, [&](qint64 count) { read = count; });
    QVERIFY(openForWorker(access, QIODevice::ReadOnly));
    access.start();
    access.read(target, maxSize);
    QTRY_COMPARE(read, qint64(expected.size()));
    QCOMPARE(target, expected);
}

void KelFileAccessTest::directModeHoldsNothingBack()
{
    KelFileAccess access(m_path);
    QVERIFY(!access.exists());
    QVERIFY(access.open(QIODevice::ReadWrite, false));
    access.write("hello");
    QCOMPARE(content(), QByteArray("hello")); // not held back in a buffer
    QCOMPARE(access.size(), qint64(5));
    access.close();
    QByteArray target;
    QVERIFY(access.open(QIODevice::ReadOnly, false));
    access.read(target, 2);
    access.read(target, 10);
    QCOMPARE(target, QByteArray("llo"));
}

void KelFileAccessTest::keepsARequestUntilTheStart()
{
    KelFileAccess access(m_path);
    QVERIFY(access.open(QIODevice::WriteOnly, true));
    QVERIFY(!access.open(QIODevice::WriteOnly, true)); // one is pending
    QVERIFY(!access.exists());
    access.start();
    QTRY_VERIFY(access.exists());
    QVERIFY(!access.open(QIODevice::WriteOnly, true)); // busy or open
}

void KelFileAccessTest::failedOpenRefusesAllButDirect()
{
    KelFileAccess access(m_path);
    QList<qint64> reads;
    connect(&access, &KelFileAccess::readFinished, this, [&](qint64 count) { reads << count; });
    access.start();
    QVERIFY(access.open(QIODevice::ReadOnly, true));
    QTRY_COMPARE(access.error(), QFile::OpenError);
    QByteArray target("old");
    access.read(target, 10);
    QVERIFY(!access.open(QIODevice::ReadOnly, true));
    fill("there");
    QVERIFY(openForWorker(access, QIODevice::ReadOnly));
    access.read(target, 10);
    QTRY_COMPARE(reads, QList<qint64>{5});
    QCOMPARE(target, QByteArray("there"));
}

/** 100000 requests, each made on the signal of the one before: in order, none lost or repeated. */
void KelFileAccessTest::acceptsTheNextRequestOfEverySlot()
{
    constexpr int count = 100000;
    const QtMessageHandler handler = qInstallMessageHandler(countWarnings);
    QByteArray data(4, '\0');
    QEventLoop loop; // QTRY_COMPARE would sleep after each request
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);

    KelFileAccess access(m_path);
    qint32 written = 0;
    const auto writeNext = [&] {
        qToBigEndian(written, data.data());
        access.write(data);
    };
    connect(&access, &KelFileAccess::writeFinished, this, [&] {
        if (++written < count)
            writeNext();
        else
            loop.quit();
    });
    access.start();
    QVERIFY(openForWorker(access, QIODevice::WriteOnly));
    writeNext();
    loop.exec();
    qInstallMessageHandler(handler);
    QCOMPARE(warnings.load(), 0);
    const QByteArray bytes = content();
    QCOMPARE(bytes.size(), 4 * count);
    for (int i = 0; i < count; ++i)
        QCOMPARE(qFromBigEndian<qint32>(bytes.constData() + 4 * i), i);
}

void KelFileAccessTest::refusesDirectSlots()
{
    KelFileAccess access(m_path);
    QVERIFY(openForWorker(access, QIODevice::ReadWrite));
    std::atomic<int> finished{0};
    std::atomic<bool> opened{true};
    connect(
        &access, &KelFileAccess::writeFinished, this,
        [&] {
            access.write("again");
            access.close();
            opened = access.open(QIODevice::ReadOnly, true);
            access.size();
            ++finished;
        },
        Qt::DirectConnection);
    access.start();
    access.write("hello");
    QTRY_COMPARE(finished.load(), 1);
    QVERIFY(!opened);
    access.write("there"); // neither was the close() accepted
    QTRY_COMPARE(finished.load(), 2);
    QCOMPARE(content(), QByteArray("hellothere"));
}

void KelFileAccessTest::endsInEveryState_data()
{
    QTest::addColumn<QString>("state");
    for (const char* state : {"never started", "idle", "writing", "asked to quit", "in a slot"})
        QTest::newRow(state) << QString::fromLatin1(state);
}

void KelFileAccessTest::endsInEveryState()
{
    QFETCH(QString, state);
    const QByteArray data(20000000, 'x');
    const bool started = state != QLatin1String("never started");
    const bool writes = started && state != QLatin1String("idle");
    auto access = std::make_unique<KelFileAccess>(m_path);
    QVERIFY(openForWorker(*access, QIODevice::WriteOnly));
    if (state == QLatin1String("in a slot"))
        connect(access.get(), &KelFileAccess::writeFinished, this, [&] { access.reset(); });
    if (writes)
        access->write(QByteArray(data.constData(), data.size())); // a temporary will do
    if (started)
        access->start();
    if (state == QLatin1String("asked to quit"))
        access->quit();
    if (state == QLatin1String("in a slot"))
        QTRY_VERIFY(!access);
    access.reset();
    QCOMPARE(content(), writes ? data : QByteArray(""));
}

QUARN_TEST(KelFileAccessTest)
#include "KelFileAccessTest.moc"
