#include "Schemes.h"

const QStringList& Schemes::names()
{
    static const QStringList names{
        QStringLiteral("rsa-sha256"),     QStringLiteral("rsa-sha384"),
        QStringLiteral("rsa-sha512"),     QStringLiteral("rsa-pss-sha256"),
        QStringLiteral("rsa-pss-sha384"), QStringLiteral("rsa-pss-sha512"),
        QStringLiteral("ecdsa-sha256"),   QStringLiteral("ecdsa-sha384"),
        QStringLiteral("ecdsa-sha512"),   QStringLiteral("ed25519"),
        QStringLiteral("sha1"),
    };
    return names;
}

bool Schemes::isMisfit(const kel::SignatureException& exception)
{
    return exception.message() == QLatin1String("Key does not fit the scheme");
}
