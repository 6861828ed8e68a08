#ifndef RELAY_VERIFIER_H
#define RELAY_VERIFIER_H

#include "Consumer.h"

#include <Quarn/signature/SignatureDigest.h>

struct Options;

/** \brief Checks the detached signature of the input. */
class Verifier : public Consumer
{
    Q_OBJECT

public:
    /** Loads the signature and the key; throws kel::IOException when one is of no use. */
    Verifier(const Options& options, const Channel& channel, const StopSwitch& stop);
    ~Verifier() override;

    /** Once finished: whether the whole input matches the signature. */
    bool valid() const;

    QString result() const override;

private:
    void consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader) override;

    kel::SignatureDigest m_digest;
    bool m_valid;
};

#endif
