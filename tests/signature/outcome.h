#ifndef QUARN_TESTS_SIGNATURE_OUTCOME_H
#define QUARN_TESTS_SIGNATURE_OUTCOME_H

#include <Quarn/signature/SignatureException.h>

#include <QProcess>
#include <QTest>

#include <openssl/err.h>

/** The message of the exception that \a call ends with; "true" or "false" when it returns. */
template <typename Call>
QByteArray outcome(const Call& call)
{
    try {
        return call() ? "true" : "false";
    } catch (const kel::IOException& exception) {
        const bool special = dynamic_cast<const kel::SignatureException*>(&exception);
        return (special ? "" : "IO: ") + exception.message().toLocal8Bit();
    }
}

/** What goes wrong in the shell commands of \a script, which begin in \a folder. */
inline QByteArray shellErrors(const QString& folder, const char* script)
{
    QProcess shell;
    shell.setWorkingDirectory(folder);
    shell.start(QStringLiteral("sh"), {QStringLiteral("-ec"), QString::fromLatin1(script)});
    const bool done = shell.waitForFinished(120000) && shell.exitCode() == 0;
    return done ? QByteArray() : "failed: " + shell.readAllStandardError();
}

/** \brief Puts an entry of somebody else into OpenSSL's error queue. */
class ForeignError
{
public:
    ForeignError()
    {
        ERR_clear_error();
        ERR_raise(ERR_LIB_USER, reason);
    }

    /** Whether it is still the only one. */
    static bool isAlone()
    {
        return ERR_GET_REASON(ERR_get_error()) == reason && ERR_get_error() == 0;
    }

private:
    static constexpr int reason = 4711;
};

#endif
