#include "support/ResourceLimit.h"
#include "support/TemporaryFolder.h"
#include "support/Thread.h"
#include "support/testBytes.h"

#include <Quarn/access/AsyncFile.h>

#include <QFutureWatcher>
#include <QProcess>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTest>
#include <QThreadPool>
#include <QtEndian>

using kel::AsyncFile;
using Request = AsyncFile::Request;

namespace {

constexpr int mebibyte = 1 << 20;

/** A pool of one thread that begins with nothing before release(). */
class HeldPool : public QThreadPool
{
public:
    HeldPool()
    {
        setMaxThreadCount(1);
        start([this] { m_gate.acquire(); });
    }
    ~HeldPool()
    {
        release();
        waitForDone(); // as long as there is a gate
    }
    void release() { m_gate.release(); }

private:
    QSemaphore m_gate;
};

QFileDevice::FileError errorOf(const Request& request)
{
    return request.result().error;
}

/** What is written is shown by nothing but the file itself when the program has ended. */
int leaveWhileWriting(const QString& path, bool withApplication, int argc, char** argv)
{
    const auto application = std::unique_ptr<QCoreApplication>(
        withApplication ? new QCoreApplication(argc, argv) : nullptr);
    static AsyncFile pipe(path + QStringLiteral(".pipe")); // nobody writes it
    pipe.open(QIODevice::ReadOnly);
    pipe.read(1);
    static AsyncFile file(path);
    file.open(QIODevice::WriteOnly);
    for (int i = 0; i < 64; ++i)
        file.write(testBytes(mebibyte));
    return 0;
}

} // namespace

/** Results in order, failures, pipes, and requests that are taken back or outlive the file. */
class AsyncFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        // Some systems remove none that the file before has still to close.
        QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(m_path) || QFile::remove(m_path), 60000);
    }

    void carriesOutInOrder()
    {
        const QByteArray bytes = testBytes(6 * mebibyte + 5);
        AsyncFile file(m_path);
        file.open(QIODevice::ReadWrite);
        const Request written = file.write(bytes);
        for (const char byte : {'a', 'b', 'c'})
            file.write(QByteArray(1, byte));
        const Request sought = file.seek(5);
        const Request part = file.read(mebibyte),
                      rest = file.read(std::numeric_limits<qint64>::max());
        const Request end = file.read(1);
        file.flush();
        const Request closed = file.close();
        QVERIFY(file.waitForFinished());
        QVERIFY(written.result().count == bytes.size() && sought.result().count == 5);
        QVERIFY(part.result().data == bytes.mid(5, mebibyte));
        QVERIFY(rest.result().data == bytes.mid(5 + mebibyte) + "abc");
        QVERIFY(end.result().ok() && end.result().data.isEmpty() && closed.result().ok());
        QVERIFY(file.queuedRequests() == 0 && file.queuedBytes() == 0);
        QVERIFY(m_folder.contents("file") == bytes + "abc");
    }

    void failuresStopWhatStandsBehind()
    {
        using Ask = Request (*)(AsyncFile & file);
        const Ask write = [](AsyncFile& file) { return file.write("x"); };
        const Ask read = [](AsyncFile& file) { return file.read(1); };
        const Ask seek = [](AsyncFile& file) { return file.seek(-1); };
        const struct
        {
            const char* path; // null: that of the test
            QIODevice::OpenMode mode;
            Ask ask;
            QFileDevice::FileError opening, asking;
        } cases[] = {
            {"/nowhere/file", QIODevice::WriteOnly, write, QFile::OpenError, QFile::AbortError},
            {"/", QIODevice::ReadOnly, read, QFile::OpenError, QFile::AbortError},
            {nullptr, QIODevice::WriteOnly | QIODevice::Text, write, QFile::OpenError,
             QFile::AbortError},
            {"/dev/full", QIODevice::WriteOnly, write, QFile::NoError, QFile::ResourceError},
            {"/proc/self/mem", QIODevice::ReadOnly, read, QFile::NoError, QFile::ReadError}, // EIO
            {"/proc/self/mem", QIODevice::ReadWrite, write, QFile::NoError, QFile::WriteError},
            {nullptr, QIODevice::ReadWrite, seek, QFile::NoError, QFile::PositionError},
            {nullptr, QIODevice::WriteOnly, read, QFile::NoError, QFile::ReadError},
        };
        for (const auto& c : cases) {
            if (!hasPosix && c.opening == QFile::NoError && c.path)
                continue; // a device
            AsyncFile file(c.path ? QString::fromUtf8(c.path) : m_path);
            const Request opened = file.open(c.mode), asked = c.ask(file), behind = file.flush();
            const Request closed = file.close(), closedAgain = file.close(), late = file.read(1);
            QCOMPARE(errorOf(opened), c.opening);
            QCOMPARE(errorOf(asked), c.asking);
            QCOMPARE(errorOf(behind), QFile::AbortError);
            QCOMPARE(errorOf(closed), c.opening != QFile::NoError ? c.opening : c.asking);
            QVERIFY(!closed.result().errorString.isEmpty());
            QCOMPARE(errorOf(closedAgain), QFile::NoError);
            QCOMPARE(errorOf(late), QFile::ReadError); // it is not open
        }
    }

    void opensAsQFileDoes()
    {
        if (!hasPosix)
            QSKIP("There it is a QFile", );
        constexpr QIODevice::OpenModeFlag flags[]
            = {QIODevice::ReadOnly, QIODevice::WriteOnly, QIODevice::Append,
               QIODevice::Truncate, QIODevice::NewOnly,   QIODevice::ExistingOnly};
        const auto attempt = [this](bool there, auto open) {
            QFile::remove(m_path);
            if (there)
                m_folder.write("file", "former");
            const bool opened = open();
            return std::make_tuple(opened, QFile::exists(m_path), m_folder.contents("file"));
        };
        for (int bits = 0; bits < 1 << 7; ++bits) {
            const bool there = bits & 1 << 6;
            QIODevice::OpenMode mode;
            for (int i = 0; i < 6; ++i)
                mode.setFlag(flags[i], bits & 1 << i);
            const bool writes
                = mode & (QIODevice::WriteOnly | QIODevice::Append | QIODevice::NewOnly);
            if (!writes && mode & QIODevice::Truncate)
                mode.setFlag(QIODevice::Truncate, false); // it would empty what it only reads
            const bool reads = mode & QIODevice::ReadOnly;
            const auto expected = attempt(there, [&] {
                return (writes || reads) && QFile(m_path).open(mode | QIODevice::Unbuffered);
            });
            const auto found
                = attempt(there, [&] { return AsyncFile(m_path).open(mode).result().ok(); });
            QVERIFY2(found == expected, QByteArray::number(bits, 2));
        }
        for (const QString& path : {QString(), m_path + QChar(0)})
            QCOMPARE(errorOf(AsyncFile(path).open(QIODevice::WriteOnly)), QFile::OpenError);
    }

    void aFullDiskFailsTheRightRequest()
    {
        if (!hasPosix)
            QSKIP("The size of files cannot be limited here", );
        const ResourceLimit limit(ResourceLimit::FileSize, 1000);
        HeldPool pool;
        AsyncFile file(m_path, &pool);
        file.open(QIODevice::WriteOnly);
        QList<Request> writes;
        for (int i = 0; i < 20; ++i)
            writes << file.write(testBytes(64)); // reach the system together
        const Request again = file.open(QIODevice::ReadOnly), read = file.read(2000);
        pool.release();
        for (int i = 0; i < 20; ++i) {
            QCOMPARE(writes[i].result().count, qint64(i < 15 ? 64 : i == 15 ? 40 : 0));
            QCOMPARE(errorOf(writes[i]), i < 15    ? QFile::NoError
                                         : i == 15 ? QFile::WriteError
                                                   : QFile::AbortError);
        }
        QCOMPARE(read.result().count, qint64(1000)); // opening is a new beginning
    }

#if QUARN_HAS_POSIX // others have no pipes in folders
    void pipesHoldUpNobody()
    {
        QVERIFY(::mkfifo(QFile::encodeName(m_path).constData(), 0600) == 0);
        QThreadPool pool;
        pool.setMaxThreadCount(1);
        Request abandoned;
        {
            AsyncFile unread(m_path, &pool), unwritten(m_path, &pool);
            const Request opened = unread.open(QIODevice::WriteOnly), behind = unread.write("x");
            AsyncFile other(m_folder.at("other"), &pool); // on the one thread that there is
            other.open(QIODevice::WriteOnly);
            QVERIFY(other.close().result().ok());
            QVERIFY(!unread.waitForFinished(1) && unread.queuedRequests() == 2);
            unread.cancel();
            QCOMPARE(unread.queuedBytes(), qint64(0));
            QCOMPARE(errorOf(opened), QFile::AbortError);
            QVERIFY(behind.isCanceled() && errorOf(behind) == QFile::AbortError);
            QCOMPARE(errorOf(unwritten.open(QIODevice::ReadOnly)), QFile::NoError);
            Request read = unwritten.read(1);
            read.cancel();
            QCOMPARE(errorOf(read), QFile::AbortError);
            unwritten.open(QIODevice::ReadOnly);
            abandoned = unwritten.read(1);
        }
        QCOMPARE(errorOf(abandoned), QFile::AbortError);

        const QByteArray bytes = testBytes(mebibyte);
        AsyncFile reader(m_path, &pool), writer(m_path);
        reader.open(QIODevice::ReadOnly);
        const Request half = reader.read(mebibyte / 2);
        writer.open(QIODevice::WriteOnly);
        writer.write(bytes);
        QVERIFY(half.result().data == bytes.left(mebibyte / 2));
        Request more = writer.write(bytes); // there is no room, and nobody takes any
        more.cancel();
        QVERIFY(reader.read(mebibyte / 2).result().data == bytes.mid(mebibyte / 2));
        QCOMPARE(errorOf(more), QFile::AbortError);
        reader.close().waitForFinished();
        writer.open(QIODevice::ReadWrite); // of a pipe doesn't wait
        QCOMPARE(errorOf(writer.open(QIODevice::ReadOnly)), QFile::NoError);
        AsyncFile last(m_path);
        QCOMPARE(errorOf(last.open(QIODevice::WriteOnly)), QFile::NoError);
        writer.close().waitForFinished();
        QCOMPARE(errorOf(last.write("x")), QFile::WriteError); // and no SIGPIPE
    }

    void callsReturnWithoutAThread()
    {
        QVERIFY(::mkfifo(QFile::encodeName(m_path).constData(), 0600) == 0);
        auto pool = std::make_unique<QThreadPool>();
        AsyncFile file(m_path, pool.get());
        pool.reset();
        pthread_attr_t attributes, huge;
        ::pthread_attr_init(&huge);
        ::pthread_attr_setstacksize(&huge, std::size_t(1) << 46);
        QVERIFY(::pthread_getattr_default_np(&attributes) == 0
                && ::pthread_setattr_default_np(&huge) == 0);
        const Request opened = file.open(QIODevice::ReadOnly), read = file.read(1);
        ::pthread_setattr_default_np(&attributes);
        QVERIFY(opened.isFinished() && errorOf(read) == QFile::AbortError);
    }
#endif

    void takesBack()
    {
        HeldPool pool;
        AsyncFile file(m_path, &pool);
        file.open(QIODevice::WriteOnly);
        QList<Request> writes;
        for (const char* text : {"a", "b", "c"})
            writes << file.write(text);
        writes[1].cancel();
        QCOMPARE(file.queuedBytes(), qint64(3));
        pool.release();
        QVERIFY(file.waitForFinished());
        QVERIFY(writes[1].isFinished() && errorOf(writes[1]) == QFile::AbortError);
        QVERIFY(writes[2].result().ok() && m_folder.contents("file") == "ac");
    }

    void queuedWritesOutlive()
    {
        for (const QByteArray gone :
             {"the file", "its watcher's", "the pool", "the pool's queue"}) {
            auto pool = std::make_unique<HeldPool>();
            auto file = std::make_unique<AsyncFile>(m_path, pool.get());
            QFutureWatcher<kel::AsyncFileResult> watcher;
            const Request opened = file->open(QIODevice::ReadWrite | QIODevice::Truncate);
            file->write("written");
            const Request read = file->read(1);
            if (gone == "the pool's queue")
                pool->clear();
            if (gone.startsWith("the pool"))
                pool.reset();
            const Request last = file->write("!");
            if (gone == "its watcher's") {
                connect(&watcher, &QFutureWatcherBase::finished, this, [&] { file.reset(); });
                watcher.setFuture(opened);
                pool->release();
                QTRY_VERIFY(!file);
            }
            file.reset();
            pool.reset();
            QVERIFY2(last.result().ok(), gone);
            QVERIFY2(read.result().error == QFile::AbortError || read.result().count == 0, gone);
            QTRY_COMPARE(m_folder.contents("file"), QByteArray("written!"));
        }
    }

    void theEndOfTheProgramWaits()
    {
        const QString pipe = m_path + QStringLiteral(".pipe");
        QVERIFY(!hasPosix || ::mkfifo(QFile::encodeName(pipe).constData(), 0600) == 0);
        for (const char* with : {"application", "nothing"}) {
            init();
            QCOMPARE(QProcess::execute(QCoreApplication::applicationFilePath(),
                                       {QStringLiteral("leave"), QString::fromUtf8(with), m_path}),
                     0);
            QCOMPARE(QFile(m_path).size(), qint64(64 * mebibyte));
        }
    }

    /** 100,000 requests: what the results say is what the file holds, in order, nothing twice. */
    void survivesStorms()
    {
        constexpr int rounds = 100, threads = 8, requests = 125;
        for (int round = 0; round < rounds; ++round) {
            init();
            auto file = std::make_unique<AsyncFile>(m_path);
            std::vector<std::vector<Request>> made(threads);
            {
                Threads storm;
                for (int t = 0; t < threads; ++t)
                    storm.start([&, t] { makeRequests(*file, t, requests, made[size_t(t)]); });
            }
            file.reset();
            QMap<int, QList<int>> expected, found;
            for (int t = 0; t < threads; ++t)
                for (int i = 0; i < requests; ++i) {
                    const Request& request = made[size_t(t)][size_t(i)];
                    const qint64 count = request.result().count;
                    QVERIFY(request.resultCount() == 1 && (count == recordSize || count == 0));
                    if (count > 0)
                        expected[t] << i;
                }
            const QByteArray bytes = m_folder.contents("file");
            for (int at = 0; at + recordSize <= bytes.size(); at += recordSize)
                found[qFromLittleEndian<int>(bytes.constData() + at)]
                    << qFromLittleEndian<int>(bytes.constData() + at + 4);
            QCOMPARE(found, expected);
        }
    }

private:
    static constexpr int recordSize = 8;

    static void makeRequests(AsyncFile& file, int thread, int count, std::vector<Request>& made)
    {
        QRandomGenerator random(quint32(thread) + 1);
        const QIODevice::OpenMode mode = QIODevice::ReadWrite | QIODevice::Append;
        for (int i = 0; i < count; ++i) {
            const int what = i == 0 ? 0 : random.bounded(100);
            QByteArray record(recordSize, '\0');
            qToLittleEndian(thread, record.data());
            qToLittleEndian(i, record.data() + 4);
            made.push_back(what < 10   ? file.open(mode)
                           : what < 13 ? file.close()
                           : what < 16 ? file.read(0)
                                       : file.write(record));
            if (what % 10 == 9)
                made[size_t(random.bounded(i + 1))].cancel();
            if (what == 50)
                file.cancel();
            if (i > 0 && made.back().isFinished() && !made[size_t(i - 1)].isFinished())
                qFatal("request %d has overtaken the one before", i);
        }
    }

    TemporaryFolder m_folder;
    const QString m_path = m_folder.at("file");
};

int main(int argc, char** argv)
{
    if (argc == 4 && argv[1] == QByteArray("leave"))
        return leaveWhileWriting(QString::fromLocal8Bit(argv[3]), argv[2][0] == 'a', argc, argv);
    const QCoreApplication application(argc, argv);
    AsyncFileTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "AsyncFileTest.moc"
