#ifndef RELAY_SIGNER_H
#define RELAY_SIGNER_H

#include "Consumer.h"

#include <Quarn/signature/SignatureSigner.h>

#include <memory>

class AtomicFile;
struct Options;

/** \brief Signs the input. */
class Signer : public Consumer
{
    Q_OBJECT

public:
    /**
     * Loads the private key, and asks for its passphrase where one is needed. Throws kel::IOException
     * when it is of no use, or when the signature could not be written anyway.
     */
    Signer(const Options& options, const Channel& channel, const StopSwitch& stop);
    ~Signer() override;

    /**
     * Once it is complete: the signature, on the disk and to take its place. Throws kel::IOException
     * when it can't be written.
     */
    std::unique_ptr<AtomicFile> written() const;

    QString result() const override;

private:
    void consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader) override;

    const QString m_path;
    const kel::SignatureSigner m_signer;
    QByteArray m_signature;
};

#endif
