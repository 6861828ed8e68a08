#include "support/TestRegistry.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int limitMsecs = 60000;

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be opened)");
}

/** Lines of many lengths, the longest longer than a line read delivers at once. */
QByteArray manyLines()
{
    QByteArray bytes;
    for (int length = 0; bytes.size() < 1500000; length = (length * 7 + 13) % 20011)
        bytes += QByteArray(length, char('a' + length % 26)) + '\n';
    return bytes;
}

} // namespace

/** The relay program, run as its users run it, in a folder of its own. */
class RelayTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void relaysEverything_data();
    void relaysEverything();
    void checksSignature_data();
    void checksSignature();
    void refuses_data();
    void refuses();
    void savesLikeTheFormerFile_data();
    void savesLikeTheFormerFile();
    void followsGrowth();
    void followedFileIsLost_data();
    void followedFileIsLost();
    void interruptedLeavesNothing_data();
    void interruptedLeavesNothing();
    void secondSignalEndsAtOnce();
    void closedOutputLeavesNothing();
    void progressFitsTerminal();

private:
    QString path(const QString& name) const { return m_folder.filePath(name); }
    void write(const QString& name, const QByteArray& bytes, QIODevice::OpenMode mode) const;
    void sign(const QString& kind, const QStringList& keyArguments);
    void start(const QStringList& arguments);
    void finish();
    void signalRelay(int signal);
    QByteArray table(const QByteArray& consumer) const;
    qint64 bytesSaved() const;
    int makePipe(const QString& name) const;

    QTemporaryDir m_folder;
    QStringList m_fixtures; // the files that belong there
    QByteArray m_data;
    QProcess m_relay;
    QByteArray m_output;
    QByteArray m_error;
};

void RelayTest::write(const QString& name, const QByteArray& bytes,
                      QIODevice::OpenMode mode = QIODevice::WriteOnly) const
{
    QFile file(path(name));
    QVERIFY(file.open(mode));
    QCOMPARE(qint64(file.write(bytes)), qint64(bytes.size()));
}

/** Makes KIND.key, KIND.pub and, for the data, KIND.sig. */
void RelayTest::sign(const QString& kind, const QStringList& keyArguments)
{
    const auto openssl = [this](const QStringList& arguments) {
        QProcess process;
        process.setWorkingDirectory(m_folder.path());
        process.start(QStringLiteral("openssl"), arguments);
        QVERIFY2(process.waitForFinished(limitMsecs) && process.exitCode() == 0,
                 process.readAllStandardError().constData());
    };
    const QString key = kind + QStringLiteral(".key");
    openssl(QStringList{QStringLiteral("genpkey"), QStringLiteral("-out"), key} + keyArguments);
    openssl({QStringLiteral("pkey"), QStringLiteral("-in"), key, QStringLiteral("-pubout"),
             QStringLiteral("-out"), kind + QStringLiteral(".pub")});
    openssl({QStringLiteral("dgst"), QStringLiteral("-sha1"), QStringLiteral("-sign"), key,
             QStringLiteral("-out"), kind + QStringLiteral(".sig"), QStringLiteral("data")});
}

void RelayTest::initTestCase()
{
    m_data = manyLines();
    write(QStringLiteral("data"), m_data);
    QByteArray damaged = m_data;
    damaged[700000] = char(damaged[700000] ^ 1);
    write(QStringLiteral("damaged"), damaged);
    write(QStringLiteral("empty"), QByteArray());
    const QStringList rsa{QStringLiteral("-algorithm"), QStringLiteral("RSA")};
    sign(QStringLiteral("rsa"), rsa);
    sign(QStringLiteral("other"), rsa);
    sign(QStringLiteral("ec"),
         {QStringLiteral("-algorithm"), QStringLiteral("EC"), QStringLiteral("-pkeyopt"),
          QStringLiteral("ec_paramgen_curve:P-256")});
    QFile large(path(QStringLiteral("large")));
    QVERIFY(large.open(QIODevice::WriteOnly) && large.resize(qint64(3) << 30));
    m_fixtures = QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden);
    m_relay.setWorkingDirectory(m_folder.path());
}

void RelayTest::init()
{
    m_relay.setStandardInputFile(QString());
    m_relay.setStandardOutputFile(QString());
    m_relay.setStandardErrorFile(QString());
}

void RelayTest::cleanup()
{
    if (m_relay.state() != QProcess::NotRunning) {
        m_relay.kill();
        m_relay.waitForFinished(limitMsecs);
    }
    QDir folder(m_folder.path());
    for (const QString& name :
         folder.entryList(QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        if (!m_fixtures.contains(name))
            folder.remove(name);
}

void RelayTest::start(const QStringList& arguments)
{
    m_relay.start(QStringLiteral(RELAY_PROGRAM), arguments);
    QVERIFY(m_relay.waitForStarted(limitMsecs));
}

void RelayTest::finish()
{
    m_relay.closeWriteChannel();
    QVERIFY(m_relay.waitForFinished(limitMsecs));
    m_output = m_relay.readAllStandardOutput();
    m_error = m_relay.readAllStandardError();
}

void RelayTest::signalRelay(int signal)
{
    const qint64 process = m_relay.processId();
    QVERIFY(process > 0); // 0 would be everybody here
    QCOMPARE(::kill(pid_t(process), signal), 0);
}

/** The row of \a consumer in the table that was printed, in single blanks. */
QByteArray RelayTest::table(const QByteArray& consumer) const
{
    for (const QByteArray& line : m_output.split('\n'))
        if (line.startsWith(consumer + "  "))
            return line.simplified();
    return {};
}

/** Size of the file that the relay is saving at the moment. */
qint64 RelayTest::bytesSaved() const
{
    const QDir folder(m_folder.path());
    const auto files
        = folder.entryInfoList({QStringLiteral(".relay-*")}, QDir::Files | QDir::Hidden);
    return files.isEmpty() ? -1 : files.first().size();
}

/** A named pipe, with its reading end open. */
int RelayTest::makePipe(const QString& name) const
{
    const QByteArray encoded = QFile::encodeName(path(name));
    return ::mkfifo(encoded.constData(), 0600) == 0
               ? ::open(encoded.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)
               : -1;
}

void RelayTest::relaysEverything_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("input");
    QTest::addColumn<bool>("piped");
    QTest::addColumn<QByteArray>("lines");
    const QString file = QStringLiteral("input");
    const QString standard = QStringLiteral("-");
    const QByteArray many = QByteArray::number(manyLines().count('\n')) + " lines";
    QTest::newRow("file") << manyLines() << file << false << many;
    QTest::newRow("pipe") << manyLines() << standard << true << many;
    QTest::newRow("file on standard input") << manyLines() << standard << false << many;
    QTest::newRow("one byte") << QByteArray("x") << file << false << QByteArray("0 lines");
    QTest::newRow("last line open")
        << QByteArray("x\0y\nz", 5) << standard << true << QByteArray("1 line");
    QTest::newRow("empty file") << QByteArray() << file << false << QByteArray("0 lines");
    QTest::newRow("empty pipe") << QByteArray() << standard << true << QByteArray("0 lines");
}

void RelayTest::relaysEverything()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, input);
    QFETCH(bool, piped);
    QFETCH(QByteArray, lines);
    write(QStringLiteral("input"), bytes);
    if (!piped)
        m_relay.setStandardInputFile(path(QStringLiteral("input")));
    start({QStringLiteral("--readers"), QStringLiteral("16"), QStringLiteral("--save"),
           QStringLiteral("copy"), input});
    if (piped)
        m_relay.write(bytes);
    finish();
    QCOMPARE(m_error, QByteArray());
    QCOMPARE(m_relay.exitCode(), 0);
    QVERIFY(contents(path(QStringLiteral("copy"))) == bytes);
    for (const QByteArray consumer :
         {"saver", "line counter", "reader 1", "reader 16", "late reader"})
        QVERIFY2(
            table(consumer).startsWith(consumer + ' ' + QByteArray::number(bytes.size()) + ' '),
            m_output.constData());
    QVERIFY2(table("line counter").endsWith(' ' + lines), m_output.constData());
    const qint64 joinedAt = table("late reader").split(' ').last().toLongLong();
    QVERIFY(joinedAt >= std::min<qint64>(bytes.size() / 2, 1024 * 1024));
}

void RelayTest::checksSignature_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("valid");
    const auto add = [](const char* name, const char* input, const char* signature, const char* key,
                        bool valid) {
        QTest::newRow(name) << QString::fromLatin1(input) << QString::fromLatin1(signature)
                            << QString::fromLatin1(key) << valid;
    };
    add("RSA", "data", "rsa.sig", "rsa.pub", true);
    add("EC", "data", "ec.sig", "ec.pub", true);
    add("wrong key", "data", "rsa.sig", "other.pub", false);
    add("wrong signature", "data", "other.sig", "rsa.pub", false);
    add("no signature at all", "data", "rsa.pub", "rsa.pub", false);
    add("wrong kind of key", "data", "rsa.sig", "ec.pub", false);
    add("one bit changed", "damaged", "rsa.sig", "rsa.pub", false);
    add("nothing came", "empty", "rsa.sig", "rsa.pub", false);
}

void RelayTest::checksSignature()
{
    QFETCH(QString, input);
    QFETCH(QString, signature);
    QFETCH(QString, key);
    QFETCH(bool, valid);
    write(QStringLiteral("copy"), "former");
    start({QStringLiteral("--signature"), signature, QStringLiteral("--key"), key,
           QStringLiteral("--save"), QStringLiteral("copy"), input});
    finish();
    QCOMPARE(m_relay.exitCode(), valid ? 0 : 1);
    QVERIFY(m_output.endsWith(valid ? "\nverdict: signature valid\n"
                                    : "\nverdict: signature does not match\n"));
    QCOMPARE(int(m_error.count('\n')), valid ? 0 : 1);
    QVERIFY(contents(path(QStringLiteral("copy"))) == (valid ? m_data : QByteArray("former")));
    QCOMPARE(bytesSaved(), qint64(-1));
}

void RelayTest::refuses_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("reason");
    const auto add = [](const char* name, const char* arguments, const char* reason) {
        QTest::newRow(name) << QString::fromLatin1(arguments) << QByteArray(reason);
    };
    add("no input", "", "one INPUT is needed");
    add("two inputs", "data data", "one INPUT is needed");
    add("unknown option", "--quick data", "Unknown option 'quick'");
    add("option without value", "data --save", "Missing value after '--save'");
    add("too many readers", "--readers 65 data", "--readers takes a number from 0 to 64");
    add("no number", "--rate fast data", "--rate takes a number");
    add("follow without time", "--follow 0 data", "--follow takes seconds");
    add("follow standard input", "--follow 1 -", "--follow needs a file");
    add("signature without key", "--signature rsa.sig data", "need each other");
    add("missing input", "--save copy 9%1%2", "9%1%2: No such file or directory");
    add("failing input", "--save copy /proc/self/mem", "/proc/self/mem: Input/output error");
    add("folder as input", "--save copy .", "Is a directory");
    add("input beyond the buffer", "--save copy large", "holds just under 2 GiB");
    add("missing key", "--signature rsa.sig --key missing data", "No such file or directory");
    add("key is none", "--signature rsa.sig --key data data", "data: ");
    add("empty signature", "--signature empty --key rsa.pub data", "empty: The file is empty");
    add("save as a folder", "--save . data", ".: Is a directory");
    add("save as a device", "--save /dev/full data", "/dev/full: It is no regular file");
    add("save in no folder", "--save missing/copy data", "No such file or directory");
    add("disk full", "--save copy data", "copy: File too large");
}

void RelayTest::refuses()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, reason);
    const bool diskFull = qstrcmp(QTest::currentDataTag(), "disk full") == 0;
    const QStringList list = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (diskFull) // no file beyond that: the write in the middle fails, as on a full disk
        m_relay.start(QStringLiteral("prlimit"),
                      QStringList{QStringLiteral("--fsize=700000"), QStringLiteral(RELAY_PROGRAM)}
                          + list);
    else
        start(list);
    finish();
    QCOMPARE(m_relay.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_relay.exitCode(), 2);
    QVERIFY2(m_error.contains(reason), m_error.constData());
    QVERIFY2(m_error.startsWith("relay: ") && m_error.indexOf('\n') == m_error.size() - 1,
             m_error.constData());
    QCOMPARE(m_output, QByteArray());
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden), m_fixtures);
}

void RelayTest::savesLikeTheFormerFile_data()
{
    QTest::addColumn<int>("formerMode");
    QTest::addColumn<bool>("link");
    QTest::addColumn<int>("mode");
    const mode_t mask = ::umask(0);
    ::umask(mask);
    QTest::newRow("new file") << 0 << false << int(0666 & ~mask);
    QTest::newRow("private file") << 0600 << false << 0600;
    QTest::newRow("shared file") << 0664 << false << 0664;
    QTest::newRow("link") << 0640 << true << 0640;
    QTest::newRow("link to nothing") << 0 << true << int(0666 & ~mask);
}

void RelayTest::savesLikeTheFormerFile()
{
    QFETCH(int, formerMode);
    QFETCH(bool, link);
    QFETCH(int, mode);
    const QByteArray file = QFile::encodeName(path(QStringLiteral("copy")));
    if (formerMode != 0) {
        write(QStringLiteral("copy"), "former");
        QCOMPARE(::chmod(file.constData(), mode_t(formerMode)), 0);
    }
    if (link)
        QVERIFY(QFile::link(QStringLiteral("copy"), path(QStringLiteral("link"))));
    start({QStringLiteral("--quiet"), QStringLiteral("--save"),
           link ? QStringLiteral("link") : QStringLiteral("copy"), QStringLiteral("data")});
    finish();
    QCOMPARE(m_output + m_error, QByteArray());
    QVERIFY(contents(path(QStringLiteral("copy"))) == m_data);
    struct stat status = {};
    QCOMPARE(::stat(file.constData(), &status), 0);
    QCOMPARE(int(status.st_mode & 07777), mode);
    QCOMPARE(QFileInfo(path(QStringLiteral("link"))).isSymLink(), link);
}

void RelayTest::followsGrowth()
{
    const QString log = QStringLiteral("log");
    write(log, m_data.left(1000));
    start({QStringLiteral("--follow"), QStringLiteral("1.5"), QStringLiteral("--save"),
           QStringLiteral("copy"), log});
    for (const int size : {1000, 1001, 200000, int(m_data.size())}) {
        const int before = int(contents(path(log)).size());
        write(log, m_data.mid(before, size - before), QIODevice::Append);
        QTRY_COMPARE_WITH_TIMEOUT(bytesSaved(), qint64(size), limitMsecs);
        QCOMPARE(m_relay.state(), QProcess::Running);
    }
    finish();
    QCOMPARE(m_relay.exitCode(), 0);
    QVERIFY(contents(path(QStringLiteral("copy"))) == m_data);
}

void RelayTest::followedFileIsLost_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("removed") << QStringLiteral("rm log") << QByteArray("removed");
    QTest::newRow("cut short") << QStringLiteral("truncate -s 10 log") << QByteArray("cut short");
    QTest::newRow("replaced") << QStringLiteral("cp log new; mv new log") << QByteArray("replaced");
}

void RelayTest::followedFileIsLost()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, reason);
    write(QStringLiteral("log"), m_data);
    start({QStringLiteral("--follow"), QStringLiteral("600"), QStringLiteral("--save"),
           QStringLiteral("copy"), QStringLiteral("log")});
    QTRY_COMPARE_WITH_TIMEOUT(bytesSaved(), qint64(m_data.size()), limitMsecs);
    QProcess shell;
    shell.setWorkingDirectory(m_folder.path());
    shell.start(QStringLiteral("sh"), {QStringLiteral("-c"), command});
    QVERIFY(shell.waitForFinished(limitMsecs));
    finish();
    QCOMPARE(m_relay.exitCode(), 2);
    QVERIFY2(m_error.contains(reason), m_error.constData());
    QVERIFY(!QFile::exists(path(QStringLiteral("copy"))));
    QCOMPARE(bytesSaved(), qint64(-1));
}

void RelayTest::interruptedLeavesNothing_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<QString>("arguments");
    QTest::newRow("at a slow rate") << SIGINT << QStringLiteral("--rate 1000 data");
    QTest::newRow("waiting for a pipe") << SIGTERM << QStringLiteral("-");
    QTest::newRow("waiting for a pipe's writer") << SIGHUP << QStringLiteral("fifo");
    QTest::newRow("waiting for growth") << SIGINT << QStringLiteral("--follow 600 data");
}

void RelayTest::interruptedLeavesNothing()
{
    QFETCH(int, signal);
    QFETCH(QString, arguments);
    ::close(makePipe(QStringLiteral("fifo")));
    write(QStringLiteral("copy"), "former");
    start(QStringList{QStringLiteral("--save"), QStringLiteral("copy")}
          + arguments.split(QLatin1Char(' ')));
    m_relay.write("something");
    const bool fifo = arguments == QLatin1String("fifo");
    QTRY_VERIFY_WITH_TIMEOUT(bytesSaved() >= (fifo ? 0 : 1), limitMsecs);
    signalRelay(signal);
    QVERIFY(m_relay.waitForFinished(limitMsecs));
    QCOMPARE(m_relay.exitStatus(), QProcess::CrashExit);
    QCOMPARE(m_relay.exitCode(), signal);
    QCOMPARE(contents(path(QStringLiteral("copy"))), QByteArray("former"));
    QCOMPARE(bytesSaved(), qint64(-1));
}

void RelayTest::secondSignalEndsAtOnce()
{
    const int reader = makePipe(QStringLiteral("output"));
    const QByteArray pipe = QFile::encodeName(path(QStringLiteral("output")));
    const int writer = ::open(pipe.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    while (::write(writer, "full", 1) == 1) { }
    m_relay.setStandardOutputFile(path(QStringLiteral("output")));
    start({QStringLiteral("--save"), QStringLiteral("copy"), QStringLiteral("data")});
    QTRY_COMPARE_WITH_TIMEOUT(bytesSaved(), qint64(m_data.size()), limitMsecs);
    // The output that nobody takes holds it up, so that it cannot end in an orderly way.
    for (int attempt = 0; attempt < 100 && m_relay.state() == QProcess::Running; ++attempt) {
        signalRelay(SIGTERM);
        m_relay.waitForFinished(100);
    }
    QCOMPARE(m_relay.exitCode(), int(SIGTERM));
    QVERIFY(!QFile::exists(path(QStringLiteral("copy"))));
    QCOMPARE(bytesSaved(), qint64(-1));
    ::close(writer);
    ::close(reader);
}

void RelayTest::closedOutputLeavesNothing()
{
    const int reader = makePipe(QStringLiteral("output"));
    m_relay.setStandardOutputFile(path(QStringLiteral("output")));
    start({QStringLiteral("--save"), QStringLiteral("copy"), QStringLiteral("-")});
    ::close(reader);
    m_relay.write(m_data);
    finish();
    QCOMPARE(m_relay.exitStatus(), QProcess::CrashExit);
    QCOMPARE(m_relay.exitCode(), int(SIGPIPE));
    QVERIFY(!QFile::exists(path(QStringLiteral("copy"))));
    QCOMPARE(bytesSaved(), qint64(-1));
}

void RelayTest::progressFitsTerminal()
{
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    QVERIFY(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    winsize size = {};
    size.ws_col = 72;
    QCOMPARE(::ioctl(terminal, TIOCSWINSZ, &size), 0);
    m_relay.setStandardErrorFile(QString::fromLocal8Bit(::ptsname(terminal)));
    start({QStringLiteral("--rate"), QStringLiteral("1500000"), QStringLiteral("data")});
    QByteArray drawn;
    const auto finished = [&] {
        char bytes[4096];
        for (ssize_t count; (count = ::read(terminal, bytes, sizeof bytes)) > 0;)
            drawn.append(bytes, int(count));
        return m_relay.state() == QProcess::NotRunning;
    };
    QTRY_VERIFY_WITH_TIMEOUT(finished(), limitMsecs);
    ::close(terminal);
    QCOMPARE(m_relay.exitCode(), 0);
    QVERIFY(drawn.endsWith("\r\x1b[K"));
    QByteArrayList lines = drawn.replace("\x1b[K", "").split('\r');
    QVERIFY2(lines.size() > 4, drawn.constData());
    for (const QByteArray& line : lines.mid(1, lines.size() - 2)) {
        QVERIFY2(line.size() < 72 && line.contains("% ") && !line.contains('\n'), line.constData());
        QVERIFY2(line.startsWith('[') && line.contains(" left"), line.constData());
    }
}

QUARN_TEST(RelayTest)
#include "RelayTest.moc"
