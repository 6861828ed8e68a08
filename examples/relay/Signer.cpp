#include "Signer.h"

#include "AtomicFile.h"
#include "Options.h"
#include "Schemes.h"
#include "passphrases.h"
#include "smallFiles.h"

#include <Quarn/interfaces/IRandomAccessIO.h>

#include <QFileInfo>

namespace {

kel::SignatureSigner signerFor(const Options& options)
{
    const Secret pem(contentsOf(QStringLiteral("key"), options.keyFile));
    Secret passphrase;
    if (!options.passphraseFile.isEmpty())
        passphrase = passphraseIn(options.passphraseFile);
    else if (pem.bytes().contains("ENCRYPTED"))
        passphrase = askPassphrase(options.keyFile);
    try {
        return Schemes::make(options.scheme, [&](kel::SignatureScheme scheme) {
            return kel::SignatureSigner::fromPem(pem.bytes(), passphrase.bytes(), scheme);
        });
    } catch (const kel::SignatureException& exception) {
        throw kel::IOException(
            QStringLiteral("cannot use the key %1: %2").arg(options.keyFile, exception.message()));
    }
}

/** Throws when there can't be such a file, or something else that is needed would go for it. */
void requirePlace(const Options& options)
{
    const QFileInfo place(options.signatureFile);
    for (const QString& needed :
         {options.input, options.keyFile, options.passphraseFile, options.saveFile}) {
        const QFileInfo other(needed);
        if (place.absoluteFilePath() == other.absoluteFilePath()
            || (place.exists() && place == other))
            throw kel::IOException(QStringLiteral("cannot save %1: It would replace %2")
                                       .arg(options.signatureFile, needed));
    }
    AtomicFile(options.signatureFile).create();
}

} // namespace

Signer::Signer(const Options& options, const Channel& channel, const StopSwitch& stop)
    : Consumer(QStringLiteral("signer"), channel, stop), m_path(options.signatureFile),
      m_signer(signerFor(options))
{
    requirePlace(options);
}

Signer::~Signer() = default;

std::unique_ptr<AtomicFile> Signer::written() const
{
    auto file = std::make_unique<AtomicFile>(m_path);
    file->create();
    file->writeBlock(m_signature.constData(), int(m_signature.size()));
    file->finish(m_signature.size());
    return file;
}

QString Signer::result() const
{
    return QStringLiteral("signature of %1 bytes").arg(m_signature.size());
}

void Signer::consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader)
{
    workOnAll(*reader, [&](const kel::TransferProgress& progress) {
        m_signature = m_signer.sign(reader, progress);
        return true;
    });
}
