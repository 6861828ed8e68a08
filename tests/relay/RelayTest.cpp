#include "support/TemporaryFolder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int limitMsecs = 60000;

/** Lines of many lengths, the longest longer than a line read delivers at once. */
QByteArray manyLines()
{
    QByteArray bytes;
    for (int length = 0; bytes.size() < 1500000; length = (length * 7 + 13) % 20011)
        bytes += QByteArray(length, char('a' + length % 26)) + '\n';
    return bytes;
}

constexpr char fixtures[] = R"(
touch empty; truncate -s 3G large; echo secret >word
make() {
    name=$1; shift
    openssl genpkey "$@" -out $name.key; openssl pkey -in $name.key -pubout -out $name.pub
    openssl dgst -${digest:-sha256} -sign $name.key -out $name.sig data || test $name = ed
}
make rsa -algorithm RSA; make other -algorithm RSA; make ed -algorithm ED25519
make ec -algorithm EC -pkeyopt ec_paramgen_curve:P-256
digest=sha1 make old -algorithm RSA -pkeyopt rsa_keygen_bits:1024
openssl dgst -sha1 -sign rsa.key -out sha1.sig data
openssl pkey -in rsa.key -aes256 -passout file:word -out locked.key
for root in root foreign; do
    openssl req -x509 -newkey rsa:2048 -nodes -keyout $root.key -subj /CN=$root -out $root.crt
done
openssl req -new -key ec.key -subj /CN=ec -out request
echo extendedKeyUsage=codeSigning >usage
openssl x509 -req -in request -CA root.crt -CAkey root.key -CAcreateserial -extfile usage -out ec.crt
for key in ec other; do
    openssl pkey -pubin -in $key.pub -outform DER | openssl dgst -sha256 -r | cut -c1-64 >$key.pin
done)";

} // namespace

/** The relay program, run as its users run it, in a folder of its own. */
class RelayTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_folder.write("data", m_data);
        m_folder.write("damaged", QByteArray(m_data).replace(700000, 1, "*"));
        shell(fixtures);
        m_fixtures = files();
        m_relay.setWorkingDirectory(m_folder.path());
    }

    void cleanup()
    {
        m_relay.kill();
        m_relay.waitForFinished(limitMsecs);
        m_relay.setStandardInputFile(QString());
        m_relay.setStandardOutputFile(QString());
        for (const QString& name : files())
            if (!m_fixtures.contains(name))
                QFile::remove(m_folder.filePath(name));
    }

    void relaysEverything()
    {
        const auto check = [this](const QByteArray& bytes, const QByteArray& input, bool piped) {
            m_folder.write("input", bytes);
            m_relay.setStandardInputFile(piped ? QString() : m_folder.at("input"));
            start("--readers 16 --save copy " + input);
            if (piped)
                m_relay.write(bytes);
            finish(0);
            QVERIFY(QFile::exists(m_folder.at("copy")) && m_folder.contents("copy") == bytes
                    && m_error.isEmpty());
            const QByteArray size = ' ' + QByteArray::number(bytes.size()) + ' ';
            for (const QByteArray name :
                 {"saver", "line counter", "reader 1", "reader 16", "late reader"})
                QVERIFY2(row(name).startsWith(name + size), m_output.constData());
            const QByteArray lines = ' ' + QByteArray::number(bytes.count('\n')) + " line";
            const qint64 joinedAt = row("late reader").split(' ').last().toLongLong();
            QVERIFY2(row("line counter").contains(lines)
                         && joinedAt >= std::min<qint64>(bytes.size() / 2, 1024 * 1024),
                     m_output.constData());
        };
        check(m_data, "input", false);
        check(m_data, "-", true);
        check(m_data, "--memory 16K -", true);
        check(m_data, "--memory all -", true);
        check(m_data, "-", false);
        check(QByteArray("x\0y\nz", 5), "-", true);
        check("", "input", false);
        check("", "-", true);
    }

    void checksSignature()
    {
        const auto check = [this](const QByteArray& arguments, bool valid) {
            m_folder.write("copy", "former");
            start("--save copy --signature " + arguments);
            finish(valid ? 0 : 1);
            QVERIFY2(m_output.endsWith(valid ? "\nverdict: signature valid\n"
                                             : "\nverdict: signature does not match\n")
                         && m_error.count('\n') == (valid ? 0 : 1),
                     arguments.constData());
            QVERIFY(m_folder.contents("copy") == (valid ? m_data : "former") && bytesSaved() < 0);
        };
        check("rsa.sig --key rsa.pub data", true);
        check("ec.sig --key ec.pub data", true);
        check("rsa.sig --key rsa.pub --memory 16K data", true);
        check("old.sig --key old.pub data", true);
        check("sha1.sig --key rsa.pub --scheme sha1 data", true);
        check("ec.sig --certificate ec.crt --roots root.crt data", true);
        check("ec.sig --certificate ec.crt --roots root.crt --pin " + pin("ec.pin") + " --pin "
                  + pin("other.pin") + " data",
              true);
        check("rsa.sig --certificate ec.crt --roots root.crt data", false);
        check("sha1.sig --key rsa.pub data", false);
        check("rsa.sig --key rsa.pub --scheme rsa-sha384 data", false);
        check("rsa.sig --key other.pub data", false);
        check("rsa.pub --key rsa.pub data", false);
        check("rsa.sig --key ec.pub data", false);
        check("rsa.sig --key rsa.pub damaged", false);
        check("rsa.sig --key rsa.pub empty", false);
        check("rsa.sig --key rsa.pub -", false);
        QVERIFY2(
            m_error.endsWith("rsa.sig does not match standard input as rsa-sha256 (see --scheme); "
                             "nothing was saved\n"),
            m_error.constData());
    }

    void reportsAsJson()
    {
        const auto check = [this](const QByteArray& arguments, int status, const QString& verdict) {
            start("--json --quiet --memory 16K --readers 1 " + arguments);
            finish(status);
            const QJsonObject report = QJsonDocument::fromJson(m_output).object();
            const QByteArray consumers
                = QJsonDocument(report[QLatin1String("consumers")].toArray()).toJson();
            const qint64 size = m_data.size();
            QVERIFY2(m_output.count('\n') == 1 && m_error.count('\n') == status
                         && report[QLatin1String("verdict")] == verdict
                         && report[QLatin1String("bytes")].toDouble() == double(size)
                         && report[QLatin1String("spilled")].toDouble() > double(size) / 2
                         && consumers.count("\"bytes\": " + QByteArray::number(size) + ',')
                                == consumers.count('{')
                         && consumers.contains(
                             "\"lines\": " + QByteArray::number(m_data.count('\n')) + ','),
                     m_output.constData());
        };
        check("data", 0, QStringLiteral("complete"));
        check("--signature rsa.sig --key rsa.pub data", 0, QStringLiteral("valid"));
        check("--signature ec.sig --key rsa.pub data", 1, QStringLiteral("mismatch"));
        check("--sign --signature made --key rsa.key data", 0, QStringLiteral("signed"));
    }

    /** The manual page and the completions have every option, and what --help says of it. */
    void isDescribed()
    {
        start("--help");
        finish(0);
        QByteArray help = m_output.mid(m_output.indexOf("Options:"));
        help.truncate(help.indexOf("\n\n"));
        QByteArrayList options = help.replace("\n  -", "\r-").replace("<", "").split('\r').mid(1);
        shell("groff -man -Tascii -P-cbou -ww '" RELAY_DOCUMENTS "/quarn-relay.1' 2>&1");
        const QByteArray page = m_output.simplified();
        QVERIFY2(options.size() > 16 && !page.contains("warning"), page.constData());
        QFile zsh(QStringLiteral(RELAY_DOCUMENTS "/_quarn-relay"));
        QVERIFY(zsh.open(QIODevice::ReadOnly));
        const QByteArray zshOptions = zsh.readAll();
        for (QByteArray& option : options) {
            const bool hasValue = option.contains('>');
            option = option.replace(">", "").simplified();
            QVERIFY2(page.contains(option), (option + " isn't in: " + page).constData());
            option = option.mid(option.indexOf("--"));
            option.truncate(option.indexOf(' '));
            QVERIFY2(zshOptions.contains(option + (hasValue ? "=[" : "[")), option.constData());
        }
        m_folder.write("complete", R"(. "$1/quarn-relay.bash"
            complete_line() {
                COMP_WORDS=(quarn-relay "$@") COMP_CWORD=$#
                _quarn_relay
                echo "${COMPREPLY[*]}"
            }
            complete_line --; complete_line --scheme = rsa-pss-sha3; complete_line --save wor
            complete_line --readers '')");
        shell("bash -u complete '" RELAY_DOCUMENTS "'");
        QCOMPARE(m_output, options.join(' ') + "\nrsa-pss-sha384\nword\n\n");
    }

    /** What openssl signs is valid for the relay, and the other way round. */
    void interoperates() // dgst is used elsewhere here
    {
        for (const QByteArray scheme :
             {"rsa-sha256", "rsa-sha384", "rsa-sha512", "rsa-pss-sha256", "rsa-pss-sha384",
              "rsa-pss-sha512", "ecdsa-sha256", "ecdsa-sha384", "ecdsa-sha512", "ed25519"}) {
            const QByteArray key = scheme.left(scheme.startsWith("rsa") ? 3 : 2);
            QByteArray openssl = "openssl pkeyutl -rawin -in data";
            if (key != "ed")
                openssl += " -digest " + scheme.right(6);
            if (scheme.contains("pss"))
                openssl += " -pkeyopt rsa_padding_mode:pss -pkeyopt rsa_pss_saltlen:digest";
            shell(openssl + " -sign -inkey " + key + ".key -out theirs");
            start("--signature theirs --key " + key + ".pub --scheme " + scheme + " data");
            finish(0);
            start("--sign --signature ours --key " + key + ".key --scheme " + scheme + " data");
            finish(0);
            QVERIFY2(m_output.endsWith("\nverdict: signed\n"), m_output.constData());
            shell(openssl + " -verify -pubin -inkey " + key + ".pub -sigfile ours");
        }
        start("--signature ours --key ed.pub data"); // the key tells the scheme
        finish(0);
    }

    void signs()
    {
        const QByteArray arguments = "--sign --key locked.key --signature made data";
        start(arguments + " --passphrase-file word --save copy --quiet");
        finish(0);
        shell("openssl dgst -sha256 -verify rsa.pub -signature made data; cmp copy data; rm made");
        m_relay.start(QStringLiteral("script"),
                      {QStringLiteral("-qec"),
                       QLatin1String(QByteArray(RELAY_PROGRAM " --quiet " + arguments)),
                       QStringLiteral("/dev/null")});
        const QByteArray question = "Passphrase of locked.key: ";
        QTRY_VERIFY_WITH_TIMEOUT(m_relay.peek(100) == question, limitMsecs);
        m_relay.write("secret\n");
        finish(0);
        QCOMPARE(m_output, question + "\r\n");
        shell("openssl dgst -sha256 -verify rsa.pub -signature made data");
    }

    void refuses()
    {
        const auto check = [this](const QByteArray& arguments, const char* reason) {
            start(arguments);
            finish(2);
            const bool oneLine = m_error.indexOf('\n') == m_error.size() - 1;
            QVERIFY2(m_error.startsWith("quarn-relay: ") && m_error.contains(reason) && oneLine,
                     (arguments + ": " + m_error).constData());
            QVERIFY2(m_output.isEmpty() && files() == m_fixtures, arguments.constData());
        };
        check("", "one INPUT is needed");
        check("data data", "one INPUT is needed");
        check("data --save", "Missing value after '--save'");
        check("--readers 65 data", "--readers takes a number from 0 to 64");
        check("--rate fast data", "--rate takes a number");
        check("--follow 0 data", "--follow takes seconds");
        check("--follow 1 -", "--follow needs a file");
        check("--signature rsa.sig data", "--signature needs --key or --certificate");
        check("--key rsa.pub data", "--key needs --signature");
        check("--signature ec.sig --key ec.pub --certificate ec.crt data", "give one");
        check("--signature ec.sig --certificate ec.crt data", "--certificate needs --roots");
        check("--signature ec.sig --key ec.pub --pin 12 data", "--pin needs --certificate");
        check("--signature ec.sig --key ec.pub --scheme md5 data",
              "--scheme takes one of rsa-sha256,");
        check("--signature rsa.sig --key ec.pub --scheme rsa-sha256 data", "Key does not fit");
        check("--signature old.sig --key old.pub --scheme rsa-sha256 data", "Key too weak");
        const QByteArray certified = "--signature ec.sig --certificate ec.crt --roots ";
        check(certified + "root.crt --pin 12 data", "--pin takes the 64 hexadecimal digits");
        check(certified + "root.crt --pin " + pin("other.pin") + " data", "key is not pinned");
        check(certified + "foreign.crt data", "ec.crt: Certificate not trusted: unable to get");
        check(certified + "word data", "cannot use the roots word: Invalid certificate");
        const QByteArray sign = "--sign --signature made --key ";
        check("--sign --signature made --certificate ec.crt --roots root.crt data",
              "--sign needs --key");
        check(sign + "rsa.key --scheme sha1 data", "no sha1 signatures");
        check(sign + "rsa.pub data", "cannot use the key rsa.pub: Invalid private key");
        check(sign + "old.key data", "Key too weak");
        check(sign + "locked.key --passphrase-file ed.pub data", "Invalid private key");
        check(sign + "ed.key --quiet large", "the signer failed: Too much data for this scheme");
        check("--sign --signature ./data --key rsa.key data", "It would replace data");
        check("--sign --signature missing/made --key rsa.key data", "No such file or directory");
        m_launcher = QStringList{QStringLiteral("setsid"), QStringLiteral("--wait")};
        check(sign + "locked.key data", "encrypted, and there is no terminal");
        m_launcher.clear();
        check("--save copy 9%1%2", "9%1%2: No such file or directory");
        check("--save copy /proc/self/mem", "/proc/self/mem: Input/output error");
        check("--save copy .", "Is a directory");
        check("--memory all --save copy large", "holds just under 2 GiB");
        for (const QByteArray size : {"", "0", "64X", "16383", "1025g", "9999999999999G", "-64M"})
            check("--memory=" + size + " data", "--memory takes a size from 16K");
        check("--signature rsa.sig --key missing data", "No such file or directory");
        check("--signature rsa.sig --key data data", "data: ");
        check("--signature empty --key rsa.pub data", "empty: The file is empty");
        check("--save . data", ".: Is a directory");
        check("--save /dev/full data", "/dev/full: It is no regular file");
        check("--save missing/copy data", "No such file or directory");
        // No file beyond that: the write in the middle fails, as on a full disk.
        m_launcher = QStringList{QStringLiteral("prlimit"), QStringLiteral("--fsize=700000")};
        check("--save copy data", "copy: File too large");
        check("--memory 64K data", "cannot relay data: The spool cannot go to the disk");
        m_launcher = QStringList{QStringLiteral("env"), QStringLiteral("TMPDIR=missing")};
        check("--memory 64K --save copy data", "No such file or directory");
        m_launcher.clear();
    }

    void followsGrowth()
    {
        m_folder.write("log", m_data.left(1000));
        start("--follow 1.5 --save copy log");
        const char* name = "log";
        for (const int size : {1000, 1001, 200000, int(m_data.size())}) {
            const int before = int(m_folder.contents(name).size());
            m_folder.write(name, m_data.mid(before, size - before), QIODevice::Append);
            QTRY_COMPARE_WITH_TIMEOUT(bytesSaved(), qint64(size), limitMsecs);
            QCOMPARE(m_relay.state(), QProcess::Running);
            if (size == 1001) { // as logs are rotated
                shell("mv log log.1; touch log");
                name = "log.1";
            }
        }
        finish(0);
        QVERIFY(m_folder.contents("copy") == m_data);
    }

    void followedFileIsLost()
    {
        const auto check = [this](const char* change, const char* reason) {
            m_folder.write("log", m_data);
            start("--follow 600 --save copy log");
            QTRY_COMPARE_WITH_TIMEOUT(bytesSaved(), qint64(m_data.size()), limitMsecs);
            shell(change);
            finish(2);
            QVERIFY2(m_error.contains(reason), m_error.constData());
            QVERIFY2(!QFile::exists(m_folder.at("copy")) && bytesSaved() < 0, change);
        };
        check("rm log", "removed");
        check("truncate -s 10 log", "cut short");
        check("cp log new; mv new log", "replaced");
    }

    void interruptedLeavesNothing()
    {
        shell("mkfifo fifo; printf former >copy");
        const auto check = [this](const QByteArray& input, int signal, int bytes) {
            start("--save copy " + input);
            m_relay.write("something");
            QTRY_VERIFY_WITH_TIMEOUT(bytesSaved() >= bytes, limitMsecs);
            signalRelay(signal);
            finish(signal, QProcess::CrashExit);
            QVERIFY2(m_folder.contents("copy") == "former" && bytesSaved() < 0, input.constData());
            QCOMPARE(m_error, QByteArray("quarn-relay: interrupted; nothing was saved\n"));
        };
        check("--rate 1000 data", SIGINT, 1);
        check("-", SIGTERM, 1);
        check("fifo", SIGHUP, 0); // which has no writer
        check("--follow 600 data", SIGINT, 1);
    }

    void outputThatNobodyTakes()
    {
        if (qEnvironmentVariableIsSet("TSAN_OPTIONS")) // of scripts/tsan.sh
            QSKIP("the sanitizer delivers no signal during a write that would go on after it");
        for (const int signal : {SIGPIPE, SIGTERM}) {
            shell("rm -f output; mkfifo output");
            const QByteArray name = QFile::encodeName(m_folder.at("output"));
            const int pipe = ::open(name.constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
            while (::write(pipe, "full", 1) == 1) { }
            m_relay.setStandardOutputFile(m_folder.at("output"));
            start("--save copy data");
            QTRY_COMPARE_WITH_TIMEOUT(bytesSaved(), qint64(m_data.size()), limitMsecs);
            if (signal == SIGPIPE)
                ::close(pipe);
            // Held up by the output it cannot end in an orderly way: a second signal ends it.
            for (int i = 0; i < 100 && m_relay.state() == QProcess::Running; ++i) {
                if (signal == SIGTERM)
                    signalRelay(signal);
                m_relay.waitForFinished(100);
            }
            finish(signal, QProcess::CrashExit);
            QVERIFY(!QFile::exists(m_folder.at("copy")) && bytesSaved() < 0);
            if (signal == SIGTERM)
                ::close(pipe);
        }
    }

    void progressFitsTerminal()
    {
        const auto check = [this](const QByteArray& terminal, int columns, bool withBar) {
            shell(terminal);
            QVERIFY2(m_output.endsWith("\r\x1b[K"), m_output.constData());
            const QByteArrayList lines = m_output.replace("\x1b[K", "").split('\r');
            QVERIFY2(lines.size() > 4, m_output.constData());
            for (const QByteArray& line : lines.mid(1, lines.size() - 2))
                QVERIFY2(line.size() < columns && line.startsWith('[') == withBar
                             && line.contains("% ") && line.contains(" left") == withBar
                             && (withBar || line.endsWith("/s")) && !line.contains('\n'),
                         line.constData());
        };
        const char rest[] = RELAY_PROGRAM " --memory 64K --rate 1500000 data >table' /dev/null";
        check(QByteArray("script -qec 'stty cols 78; TERM=xterm ").append(rest), 78, true);
        QVERIFY2(m_output.contains(" MB on disk\r"), m_output.constData());
        check(QByteArray("script -qec 'stty cols 40; TERM=xterm ").append(rest), 40, false);
    }

private:
    QStringList files() const
    {
        const QDir::Filters all = QDir::Files | QDir::Hidden | QDir::System;
        return QDir(m_folder.path()).entryList(all);
    }

    QByteArray pin(const char* file) const { return m_folder.contents(file).trimmed(); }

    /** Size of the file that the relay is saving at the moment. */
    qint64 bytesSaved() const
    {
        const QStringList saved = files().filter(QStringLiteral(".save-"));
        return saved.isEmpty() ? -1 : QFileInfo(m_folder.filePath(saved.first())).size();
    }

    void shell(const QByteArray& script)
    {
        QProcess process;
        process.setWorkingDirectory(m_folder.path());
        process.start(QStringLiteral("sh"), {QStringLiteral("-ec"), QLatin1String(script)});
        QVERIFY2(process.waitForFinished(limitMsecs) && process.exitCode() == 0,
                 process.readAllStandardError().constData());
        m_output = process.readAllStandardOutput();
    }

    void start(const QByteArray& arguments)
    {
        QStringList list = m_launcher + QStringList(QStringLiteral(RELAY_PROGRAM));
        list += QString::fromLatin1(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        const QString program = list.takeFirst();
        m_relay.start(program, list);
        QVERIFY(m_relay.waitForStarted(limitMsecs));
    }

    /** The exit code after a crash is the signal. */
    void finish(int exitCode, QProcess::ExitStatus status = QProcess::NormalExit)
    {
        m_relay.closeWriteChannel();
        QVERIFY(m_relay.state() == QProcess::NotRunning || m_relay.waitForFinished(limitMsecs));
        m_output = m_relay.readAllStandardOutput();
        m_error = m_relay.readAllStandardError();
        QVERIFY2(m_relay.exitStatus() == status && m_relay.exitCode() == exitCode, m_error.data());
    }

    void signalRelay(int signal)
    {
        const qint64 process = m_relay.processId();
        QVERIFY(process > 0); // 0 would be everybody here
        QCOMPARE(::kill(pid_t(process), signal), 0);
    }

    /** The row of \a consumer in the table that was printed, in single blanks. */
    QByteArray row(const QByteArray& consumer) const
    {
        for (const QByteArray& line : m_output.split('\n'))
            if (line.startsWith(consumer + "  "))
                return line.simplified();
        return {};
    }

    TemporaryFolder m_folder;
    QStringList m_fixtures; // the files that belong there
    const QByteArray m_data = manyLines();
    QProcess m_relay;
    QStringList m_launcher; // starts it
    QByteArray m_output;
    QByteArray m_error;
};

QTEST_GUILESS_MAIN(RelayTest)
#include "RelayTest.moc"
