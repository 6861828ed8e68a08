#ifndef RELAY_VERIFIER_H
#define RELAY_VERIFIER_H

#include "Consumer.h"

#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/signature/SignatureVerifier.h>

#include <optional>

struct Options;

/** \brief Checks the detached signature of the input. */
class Verifier : public Consumer
{
    Q_OBJECT

public:
    /**
     * Loads the signature and a key that is trusted; throws kel::IOException when one is of no use.
     */
    Verifier(const Options& options, const Channel& channel, const StopSwitch& stop);
    ~Verifier() override;

    /** The name of the scheme that is checked. */
    QString scheme() const;

    /** Once finished: whether the whole input matches the signature. */
    bool valid() const;

    QString result() const override;

private:
    using Reader = boost::shared_ptr<kel::IRandomAccessIO>;

    void chooseScheme(const Options& options);
    void consume(const Reader& reader) override;
    bool matches(const Reader& reader);
    bool matchesSha1(const Reader& reader);

    const QByteArray m_signature;
    std::optional<kel::SignatureVerifier> m_verifier; // none for SHA-1
    kel::SignatureDigest m_digest; // for SHA-1
    QString m_scheme;
    bool m_valid;
};

#endif
