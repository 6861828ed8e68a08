#ifndef RELAY_SIGNER_H
#define RELAY_SIGNER_H

#include "Consumer.h"

#include <Quarn/signature/SignatureSigner.h>
#include <Quarn/streams/SafeFile.h>

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
     * Brings the signature to the disk, once it is complete; it takes its place by publish(). Both throw
     * kel::IOException when that cannot be.
     */
    void write();
    void publish();

    QString result() const override;

private:
    void consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader) override;

    kel::SafeFile m_file;
    const kel::SignatureSigner m_signer;
    QByteArray m_signature;
};

#endif
