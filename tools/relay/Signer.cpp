#include "Signer.h"

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

[[noreturn]] void fail(const kel::SafeFile& file)
{
    throw kel::IOException(
        QStringLiteral("cannot save %1: %2").arg(file.fileName(), file.errorString()));
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
    kel::SafeFile trial(options.signatureFile);
    if (!trial.open(QIODevice::WriteOnly))
        fail(trial);
}

} // namespace

Signer::Signer(const Options& options, const Channel& channel, const StopSwitch& stop)
    : Consumer(QStringLiteral("signer"), channel, stop), m_file(options.signatureFile),
      m_signer(signerFor(options))
{
    requirePlace(options);
}

Signer::~Signer() = default;

void Signer::write()
{
    if (!m_file.open(QIODevice::WriteOnly) || m_file.write(m_signature) != m_signature.size())
        fail(m_file);
    m_file.close();
    if (m_file.ioFailureDetected())
        fail(m_file);
}

void Signer::publish()
{
    if (!m_file.commit())
        fail(m_file);
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
