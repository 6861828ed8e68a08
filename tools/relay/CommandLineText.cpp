#include "CommandLineText.h"

#include "Schemes.h"
#include "platform/spillFolder.h"

namespace {

std::vector<CommandLineOption> signatureOptions()
{
    return {
        {QStringLiteral("signature"),
         QStringLiteral("Checks INPUT against the detached signature in FILE."),
         CommandLineOption::File, QStringLiteral("FILE")},
        {QStringLiteral("key"),
         QStringLiteral("Public key for the signature. Of a certificate here only the key counts."),
         CommandLineOption::File, QStringLiteral("PEM")},
        {QStringLiteral("scheme"),
         QStringLiteral(
             "Kind of the signature: %1. Unless given, the key decides: ed25519 (for up to "
             "256 MiB of INPUT), ecdsa-sha256, rsa-sha256, or what it is restricted to; "
             "sha1 if it is none for today.")
             .arg(Schemes::names().join(QStringLiteral(", "))),
         CommandLineOption::OneOf, QStringLiteral("NAME"), Schemes::names()},
        {QStringLiteral("certificate"),
         QStringLiteral("Takes the key from the first certificate in PEM, which has to be for code "
                        "signing and, by way of those behind it, from one of the roots."),
         CommandLineOption::File, QStringLiteral("PEM")},
        {QStringLiteral("roots"),
         QStringLiteral("Certificates to trust; those of the system don't count."),
         CommandLineOption::File, QStringLiteral("PEM")},
        {QStringLiteral("pin"),
         QStringLiteral(
             "Insists on that key in the certificate, or on one of several: its SHA-256 in "
             "64 digits, as from 'openssl pkey -pubin -outform DER | sha256sum'."),
         CommandLineOption::Text, QStringLiteral("HEX")},
        {QStringLiteral("sign"),
         QStringLiteral(
             "Signs INPUT: writes the signature as FILE, with the private key in PEM. Asks "
             "on the terminal for a passphrase if the key has one.")},
        {QStringLiteral("passphrase-file"),
         QStringLiteral("Takes the passphrase from the first line of PATH, which may be a pipe."),
         CommandLineOption::File, QStringLiteral("PATH")},
    };
}

std::vector<CommandLineOption> relayOptions()
{
    const QString usualMemory = QStringLiteral("256M");
    return {
        {QStringLiteral("save"),
         QStringLiteral("Saves INPUT as PATH, once all of it is there and the signature valid."),
         CommandLineOption::File, QStringLiteral("PATH")},
        {QStringLiteral("readers"),
         QStringLiteral("Adds N more readers, up to %1.").arg(CommandLineText::mostReaders),
         CommandLineOption::Text, QStringLiteral("N")},
        {QStringLiteral("follow"),
         QStringLiteral("INPUT is still being written: ends when it has not grown for SECONDS."),
         CommandLineOption::Text, QStringLiteral("SECONDS")},
        {QStringLiteral("rate"), QStringLiteral("Takes in no more than BYTES a second."),
         CommandLineOption::Text, QStringLiteral("BYTES")},
        {QStringLiteral("memory"),
         QStringLiteral("Keeps up to SIZE of INPUT in memory, with K, M or G, %1 unless given, and "
                        "the rest in a nameless file in %2. With 'all' everything stays in memory, "
                        "and INPUT has to be less than 2 GiB.")
             .arg(usualMemory, spillFolderText()),
         CommandLineOption::Text,
         QStringLiteral("SIZE"),
         {},
         usualMemory},
        {QStringLiteral("json"),
         QStringLiteral("Prints the report as JSON in one line, instead of the final table.")},
        {QStringLiteral("quiet"),
         QStringLiteral("Shows neither progress nor the final table; what --json asks for it does "
                        "print.")},
    };
}

} // namespace

QString CommandLineText::summary()
{
    return QStringLiteral("relays a stream to several consumers at once");
}

QStringList CommandLineText::description()
{
    return {QStringLiteral(
                "Relays INPUT to several consumers that read it at the same time, while it still "
                "comes in: one counts its lines, one joins late, and others check its signature, "
                "make one or save it."),
            QStringLiteral("The report of what each of them got goes to standard output, progress "
                           "and failures go to standard error.")};
}

QString CommandLineText::input()
{
    return QStringLiteral("File to relay, of any length, or - for standard input.");
}

QStringList CommandLineText::exitStatus()
{
    return {QStringLiteral("done, and the signature is valid if one was given"),
            QStringLiteral("the signature does not match, and nothing is saved"),
            QStringLiteral("a failure, told in one line, and nothing is saved")};
}

QStringList CommandLineText::json()
{
    return {
        QStringLiteral(
            "With --json standard output gets one object in one line of UTF-8. There is none "
            "when the exit status is 2 because not everything was relayed. Whether INPUT was "
            "saved only the exit status tells: it is saved after the report. There may be more "
            "members in later versions."),
        QStringLiteral(
            "input: as it was given. bytes: its size. spilled: how many of them went to the disk. "
            "verdict: valid, mismatch, signed or complete, which is without a signature to "
            "check. scheme: that of the signature that was checked, if there was one."),
        QStringLiteral(
            "consumers: for each its name, how many bytes it got, in how many seconds, and "
            "its result in words; lines, of the line counter; joinedAt, how much was there when "
            "a reader joined."),
    };
}

std::vector<std::pair<QString, QString>> CommandLineText::examples()
{
    return {
        {QStringLiteral("Saves a download only if its signature is valid:"),
         QStringLiteral("curl URL | quarn-relay --signature FILE --key PEM --save PATH -")},
        {QStringLiteral("Signs a file:"),
         QStringLiteral("quarn-relay --sign --signature FILE --key PEM INPUT")},
        {QStringLiteral("Counts the lines of a log until it rests for a minute:"),
         QStringLiteral("quarn-relay --follow 60 --quiet --json INPUT")},
    };
}

std::vector<CommandLineOption> CommandLineText::options()
{
    std::vector<CommandLineOption> all = signatureOptions();
    for (const CommandLineOption& option : relayOptions())
        all.push_back(option);
    CommandLineOption help = {QStringLiteral("help"), QStringLiteral("Shows this help.")};
    help.letter = QLatin1Char('h');
    CommandLineOption version = {QStringLiteral("version"), QStringLiteral("Shows the version.")};
    version.letter = QLatin1Char('v');
    all.push_back(help);
    all.push_back(version);
    return all;
}
