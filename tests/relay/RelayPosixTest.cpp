#include "RelayProgram.h"

#include <csignal>

/** What it does with signals, terminals, pipes and limits, and what describes it. */
class RelayPosixTest : public RelayProgram
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { prepare(); }
    void cleanup() { cleanUp(); }

    /** The manual page and the completions have every option, and what --help says of it. */
    void isDescribed()
    {
        start("--help");
        finish(0);
        QByteArray help = m_output.mid(m_output.indexOf("Options:"));
        help.truncate(help.indexOf("\n\n"));
        QByteArrayList options = help.replace("\n  -", "\r-").replace("<", "").split('\r').mid(1);
        shell("groff -man -Tascii -P-cbou -ww '" RELAY_DOCUMENTS "/quarn-relay.1' >page 2>&1");
        const QByteArray page = m_folder.contents("page").simplified();
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
        shell("bash -u complete '" RELAY_DOCUMENTS "' >completed");
        QCOMPARE(m_folder.contents("completed"), options.join(' ') + "\nrsa-pss-sha384\nword\n\n");
    }

    void asksForThePassphrase()
    {
        const QByteArray arguments = "--sign --key locked.key --signature made data";
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
        checkRefusal("--save copy /proc/self/mem", "/proc/self/mem: Input/output error");
        checkRefusal("--save /dev/full data", "/dev/full: It is no regular file");
        m_launcher = QStringList{QStringLiteral("setsid"), QStringLiteral("--wait")};
        checkRefusal("--sign --signature made --key locked.key data", "there is no terminal");
        // No file beyond that: the write in the middle fails, as on a full disk.
        m_launcher = QStringList{QStringLiteral("prlimit"), QStringLiteral("--fsize=700000")};
        checkRefusal("--save copy data", "copy: File too large");
        checkRefusal("--memory 64K data", "cannot relay data: The spool cannot go to the disk");
        m_launcher = QStringList{QStringLiteral("env"), QStringLiteral("TMPDIR=missing")};
        checkRefusal("--memory 64K --save copy data", "No such file or directory");
        m_launcher.clear();
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
            QSKIP("the sanitizer delivers no signal during a write that would go on after it", );
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
            m_output = m_folder.contents("shown");
            QVERIFY2(m_output.endsWith("\r\x1b[K"), m_output.constData());
            const QByteArrayList lines = m_output.replace("\x1b[K", "").split('\r');
            QVERIFY2(lines.size() > 4, m_output.constData());
            for (const QByteArray& line : lines.mid(1, lines.size() - 2))
                QVERIFY2(line.size() < columns && line.startsWith('[') == withBar
                             && line.contains("% ") && line.contains(" left") == withBar
                             && (withBar || line.endsWith("/s")) && !line.contains('\n'),
                         line.constData());
        };
        const char rest[]
            = RELAY_PROGRAM " --memory 64K --rate 1500000 data >table' /dev/null >shown";
        check(QByteArray("script -qec 'stty cols 78; TERM=xterm ").append(rest), 78, true);
        QVERIFY2(m_output.contains(" MB on disk\r"), m_output.constData());
        check(QByteArray("script -qec 'stty cols 40; TERM=xterm ").append(rest), 40, false);
    }

private:
    void signalRelay(int signal)
    {
        const qint64 process = m_relay.processId();
        QVERIFY(process > 0); // 0 would be everybody here
        QCOMPARE(::kill(pid_t(process), signal), 0);
    }
};

QTEST_GUILESS_MAIN(RelayPosixTest)
#include "RelayPosixTest.moc"
