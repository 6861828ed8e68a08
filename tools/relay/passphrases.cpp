#include "passphrases.h"

#include "platform/Terminal.h"
#include "smallFiles.h"

#include <Quarn/companion/IOException.h>

#include <QString>

#include <cstring>
#include <utility>

Secret passphraseIn(const QString& path)
{
    QByteArray word = contentsOf(QStringLiteral("passphrase"), path);
    word.truncate(int(std::strcspn(word.constData(), "\r\n")));
    return Secret(std::move(word));
}

Secret askPassphrase(const QString& keyFile)
{
    const auto fail = [&](const char* reason) {
        throw kel::IOException(QStringLiteral("cannot use the key %1: It is encrypted, and %2")
                                   .arg(keyFile, QLatin1String(reason)));
    };
    const Terminal terminal;
    if (!terminal.isUsable())
        fail("there is no terminal to ask for its passphrase (see --passphrase-file)");
    terminal.print(QStringLiteral("Passphrase of %1: ").arg(keyFile));
    Secret word = terminal.line();
    terminal.print(QStringLiteral("\n"));
    if (word.bytes().isEmpty())
        fail("no passphrase was given");
    return word;
}
