#ifndef RELAY_SCHEMES_H
#define RELAY_SCHEMES_H

#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureScheme.h>

#include <QStringList>

/** \brief The kinds of signatures, by the names that users give them. */
class Schemes
{
public:
    /** Those of kel::SignatureScheme in its order, and sha1() behind them. */
    static const QStringList& names();

    /** RSA, DSA or EC over SHA-1, which kel::SignatureDigest checks; no new ones are made. */
    static QString sha1() { return names().last(); }

    /**
     * What \a make makes of the scheme with that \a name or, if that is empty, of the first one
     * that the key fits. Those over SHA-256 and Ed25519 come first: the others are for keys that
     * allow nothing else.
     */
    template <typename Make>
    static auto make(const QString& name, const Make& make)
    {
        using Scheme = kel::SignatureScheme;
        if (!name.isEmpty())
            return make(Scheme(names().indexOf(name)));
        for (const Scheme scheme : {Scheme::Ed25519, Scheme::EcdsaSha256, Scheme::RsaPkcs1Sha256,
                                    Scheme::RsaPssSha256, Scheme::RsaPssSha384}) {
            try {
                return make(scheme);
            } catch (const kel::SignatureException& exception) {
                if (!isMisfit(exception))
                    throw;
            }
        }
        return make(Scheme::RsaPssSha512);
    }

    /** Whether it says that a key is none for a scheme. */
    static bool isMisfit(const kel::SignatureException& exception);
};

#endif
