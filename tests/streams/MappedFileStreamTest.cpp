#include "support/TemporaryFolder.h"
#include "support/posix.h"
#include "support/testBytes.h"

#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/MappedFileStream.h>
#include <Quarn/streams/StreamUtils.h>

#include <QTest>

#include <csignal>
#include <cstring>
#include <thread>

#if QUARN_HAS_POSIX
#include <sys/mman.h>
#include <sys/wait.h>
#endif

using namespace kel;

namespace {

constexpr int size = 100000;
const QByteArray bytes = testBytes(size);

int sum(const unsigned char* data, qint64 count)
{
    int result = 0;
    for (qint64 at = 0; at < count; ++at)
        result += data[at];
    return result;
}

} // namespace

/** Mapped files: views, and what must not end the program. */
class MappedFileStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { store(bytes); }

#if QUARN_HAS_POSIX
    void signalsOfOthersReachThem()
    {
        constexpr int killed = SIGBUS, reached = 7 << 8; // as waitpid() tells
        const auto plain = [](int) { ::_exit(7); };
        struct sigaction informed = {};
        informed.sa_sigaction = [](int, siginfo_t* info, void*) { ::_exit(info ? 7 : 0); };
        informed.sa_flags = SA_SIGINFO;
        const struct
        {
            void (*handler)(int); // null: the last one
            int sent, fault; // what comes of a signal, and of a fault in somebody else's mapping
        } rows[] = {{SIG_DFL, killed, killed}, {SIG_IGN, 0, killed}, {plain, reached, reached}};
        for (int i = 0; i < 8; ++i) {
            const bool fault = i % 2 == 1, informs = i >= 6;
            const auto& row = rows[informs ? 2 : i / 2];
            const pid_t child = ::fork();
            if (child == 0) {
                informs ? (void)::sigaction(SIGBUS, &informed, nullptr)
                        : (void)std::signal(SIGBUS, row.handler); // before the first mapping
                const MappedFileStream file(m_path);
                QFile others(m_folder.at("others"));
                const bool there = others.open(QIODevice::ReadWrite) && others.resize(1);
                const volatile uchar* const mapped = others.map(0, 1);
                if (file.isOpen() && there && mapped && others.resize(0))
                    fault ? (void)*mapped : (void)std::raise(SIGBUS);
                ::_exit(0);
            }
            int status = 0;
            QCOMPARE(::waitpid(child, &status, 0), child);
            QCOMPARE(status & ~0x80, fault ? row.fault : row.sent); // but for a core image
        }
    }
#endif

    void givesViews()
    {
        MappedFileStream file(m_path);
        const auto view = file.data(1000, size - 1000);
        QVERIFY(view && std::memcmp(view, bytes.constData() + 1000, size - 1000) == 0);
        QVERIFY(file.data(size, 0) && file.failureText().isEmpty());
        const qint64 most = std::numeric_limits<qint64>::max();
        const std::pair<qint64, qint64> outside[]
            = {{-1, 1}, {0, -1}, {0, size + 1}, {size, 1}, {size + 1, 0}, {most, most}};
        for (const auto& range : outside)
            QVERIFY(!file.data(range.first, range.second));
        store("");
        QVERIFY(MappedFileStream(m_path).isOpen() && MappedFileStream(m_path).data(0, 0));
    }

    void fileIsCutShort()
    {
        const int page = 4096;
        const auto all = reinterpret_cast<const uchar*>(bytes.data());
        // The last: what is left of a page becomes zeros without a signal.
        for (const int left : {0, 5 * page, size - 100}) {
            store(bytes);
            MappedFileStream file(m_path), copied(m_path), other(m_path);
            const unsigned char* const view = file.data(0, size);
            char data[page];
            QVERIFY(view && file.read(data, page) == page);
            QCOMPARE(QFile::resize(m_path, left), hasPosix);
            if (!hasPosix) { // it is refused while somebody has the file mapped
                QVERIFY(sum(view, size) == sum(all, size) && !file.ioFailureDetected());
                continue;
            }
            std::thread second([view] { sum(view, size); });
            QCOMPARE(sum(view, size), sum(all, left));
            second.join();
            QVERIFY(file.ioFailureDetected() && file.read(data, page) == -1);
            QVERIFY(!file.data(0, 1) && file.failureText().startsWith(m_path));
            FileStream target(m_path + QStringLiteral("2"), QIODevice::WriteOnly);
            QVERIFY(StreamUtils::copyFast(&copied, 0, &target, 0, size) < size);
            QVERIFY(other.read(data, page) == -1); // without looking first
        }
    }

    void refuses()
    {
        if (hasPosix)
            QCOMPARE(::mkfifo(m_folder.at("pipe").toLocal8Bit().constData(), 0600), 0);
        const QString paths[] = {m_folder.at("none"),
                                 m_folder.path(),
                                 m_folder.at("pipe"),
                                 QString(),
                                 QLatin1String(hasPosix ? "/proc/self/status" : "NUL"),
                                 m_path + QChar(0)};
        for (const QString& path : paths) {
            MappedFileStream file(path);
            char byte;
            QVERIFY2(!file.isOpen() && !file.readable(), qPrintable(path));
            QVERIFY(file.ioFailureDetected()
                    && file.failureText().startsWith(path + QStringLiteral(": ")));
            QVERIFY(file.read(&byte, 1) == -1 && file.streamSize() == 0 && !file.data(0, 0));
        }
    }

private:
    void store(const QByteArray& data) const
    {
        m_folder.write("file", data);
    }

    TemporaryFolder m_folder;
    const QString m_path = m_folder.at("file");
};

QTEST_GUILESS_MAIN(MappedFileStreamTest)
#include "MappedFileStreamTest.moc"
