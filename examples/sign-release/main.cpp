// Signs a file with an Ed25519 key, which is made and saved encrypted when it is missing. What users
// pin is printed.

#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureSigner.h>

#include <QCoreApplication>
#include <QFile>
#include <QSaveFile>
#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr auto scheme = kel::SignatureScheme::Ed25519;

/** The first line of a file, which nobody else may read. Unbuffered, so that no copy remains. */
QByteArray passphraseIn(const QString& path)
{
    QFile file(path);
    QByteArray word(1024, '\0');
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)
        || file.read(word.data(), word.size()) < 0)
        throw kel::IOException(QStringLiteral("Could not read ") + path);
    word.truncate(int(std::strcspn(word.constData(), "\r\n")));
    return word;
}

void save(const QByteArray& contents, const QString& path, bool secret)
{
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly)
        || (secret && !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner))
        || file.write(contents) != contents.size() || !file.flush() || !file.commit())
        throw kel::IOException(QStringLiteral("Could not write ") + path);
}

//! [sign]
kel::SignatureSigner signerFor(const QString& keyPath, const QString& passphrasePath)
{
    if (!QFile::exists(keyPath))
        save(kel::SignatureSigner::generate(scheme).toPem(passphraseIn(passphrasePath)), keyPath,
             true);
    return kel::SignatureSigner::fromPemFile(keyPath, passphraseIn(passphrasePath), scheme);
}
//! [sign]

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 5) {
        std::fprintf(stderr, "Usage: sign-release KEY PASSPHRASE_FILE FILE SIGNATURE\n"
                             "Makes KEY when it is missing, and writes KEY.pub beside it.\n");
        return EXIT_FAILURE;
    }
    try {
        const kel::SignatureSigner signer = signerFor(arguments.at(1), arguments.at(2));
        save(signer.publicKey().toPem(), arguments.at(1) + QStringLiteral(".pub"), false);
        signer.signFile(arguments.at(3), arguments.at(4));
        std::printf("%s\n", signer.publicKey().fingerprint().toHex().constData());
        return EXIT_SUCCESS;
    } catch (const kel::IOException& exception) { // SignatureException is one, too
        std::fprintf(stderr, "%s\n", qPrintable(exception.message()));
        return EXIT_FAILURE;
    }
}
