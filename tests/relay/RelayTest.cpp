#include "RelayProgram.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

/** What the relay does on any system. */
class RelayTest : public RelayProgram
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { prepare(); }
    void cleanup() { cleanUp(); }

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
        check("rsa.sig --key rsa.pub damaged", false);
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
    }

    void refuses()
    {
        const auto check = [this](const QByteArray& arguments, const QByteArray& reason) {
            checkRefusal(arguments, reason);
        };
        const QByteArray noFile = qt_error_string(hasPosix ? ENOENT : 2).toLocal8Bit();
        const QByteArray noFolder = qt_error_string(hasPosix ? ENOENT : 3).toLocal8Bit();
        check("", "one INPUT is needed");
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
        check(sign + "ed.key --quiet large", "the signer failed: Too much data for this scheme");
        check("--sign --signature ./data --key rsa.key data", "It would replace data");
        check("--sign --signature missing/made --key rsa.key data", noFolder);
        check("--save copy 9%1%2", "9%1%2: " + noFile);
        check("--save copy .", "cannot read .: ");
        check("--memory all --save copy large", "holds just under 2 GiB");
        for (const QByteArray size : {"", "0", "64X", "16383", "1025g", "9999999999999G", "-64M"})
            check("--memory=" + size + " data", "--memory takes a size from 16K");
        check("--signature rsa.sig --key missing data", noFile);
        check("--signature rsa.sig --key data data", "data: ");
        check("--signature empty --key rsa.pub data", "empty: The file is empty");
        check("--save . data", "cannot save .: ");
        check("--save missing/copy data", noFolder);
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
            if (hasPosix && size == 1001) { // as logs are rotated
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
        check("truncate -s 10 log", "cut short");
        if (!hasPosix) // it would keep the name
            return;
        check("rm log", "removed");
        check("cp log new; mv new log", "replaced");
    }

private:
    QByteArray pin(const char* file) const { return m_folder.contents(file).trimmed(); }

    /** The row of \a consumer in the table that was printed, in single blanks. */
    QByteArray row(const QByteArray& consumer) const
    {
        for (const QByteArray& line : m_output.split('\n'))
            if (line.startsWith(consumer + "  "))
                return line.simplified();
        return {};
    }
};

QTEST_GUILESS_MAIN(RelayTest)
#include "RelayTest.moc"
