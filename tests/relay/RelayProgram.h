#ifndef QUARN_TESTS_RELAY_RELAYPROGRAM_H
#define QUARN_TESTS_RELAY_RELAYPROGRAM_H

#include "support/TemporaryFolder.h"
#include "support/posix.h"
#include "support/shell.h"

#include <QRegularExpression>
#include <QTest>

/** Lines of many lengths, the longest longer than a line read delivers at once. */
inline QByteArray manyLines()
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

/** The relay program, run as its users run it, in a folder of its own. */
class RelayProgram : public QObject
{
protected:
    static constexpr int limitMsecs = 60000;

    void prepare()
    {
        m_folder.write("data", m_data);
        m_folder.write("damaged", QByteArray(m_data).replace(700000, 1, "*"));
        shell(fixtures);
        m_fixtures = files();
        m_relay.setWorkingDirectory(m_folder.path());
    }

    void cleanUp()
    {
        m_relay.kill();
        m_relay.waitForFinished(limitMsecs);
        m_relay.setStandardInputFile(QString());
        m_relay.setStandardOutputFile(QString());
        for (const QString& name : files())
            if (!m_fixtures.contains(name))
                QFile::remove(m_folder.filePath(name));
    }

    QStringList files() const
    {
        const QDir::Filters all = QDir::Files | QDir::Hidden | QDir::System;
        return QDir(m_folder.path()).entryList(all);
    }

    /** Size of the file that the relay is saving at the moment. */
    qint64 bytesSaved() const
    {
        const QStringList saved = files().filter(QStringLiteral(".save-"));
        return saved.isEmpty() ? -1 : QFileInfo(m_folder.filePath(saved.first())).size();
    }

    void shell(const QByteArray& script)
    {
        const QByteArray errors = shellErrors(m_folder.path(), script);
        QVERIFY2(errors.isEmpty(), errors.constData());
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
        // Without the progress, which is told every two seconds: on a busy machine some runs take longer.
        m_error = QString::fromLocal8Bit(m_relay.readAllStandardError())
                      .remove(QRegularExpression(QStringLiteral("[^\n]* MB/s[^\n]*\n")))
                      .toLocal8Bit();
        QVERIFY2(m_relay.exitStatus() == status && m_relay.exitCode() == exitCode, m_error.data());
    }

    /** Ends with status 2, for the \a reason that it tells in one line, and leaves nothing. */
    void checkRefusal(const QByteArray& arguments, const QByteArray& reason)
    {
        start(arguments);
        finish(2);
        const bool oneLine = m_error.indexOf('\n') == m_error.size() - 1;
        QVERIFY2(m_error.startsWith("quarn-relay: ") && m_error.contains(reason) && oneLine,
                 (arguments + ": " + m_error).constData());
        QVERIFY2(m_output.isEmpty() && files() == m_fixtures, arguments.constData());
    }

    TemporaryFolder m_folder;
    QStringList m_fixtures; // the files that belong there
    const QByteArray m_data = manyLines();
    QProcess m_relay;
    QStringList m_launcher; // starts it
    QByteArray m_output;
    QByteArray m_error;
};

#endif
