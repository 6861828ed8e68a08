#ifndef QUARN_TESTS_SIGNATURE_OUTCOME_H
#define QUARN_TESTS_SIGNATURE_OUTCOME_H

#include "support/shell.h"

#include <Quarn/signature/SignatureException.h>

#include <QTest>

#include <openssl/err.h>

/** The message of the exception that \a call ends with; "true" or "false" when it returns. */
template <typename Call>
QByteArray outcome(const Call& call)
{
    try {
        return call() ? "true" : "false";
    } catch (const kel::IOException& exception) {
        const bool special = dynamic_cast<const kel::SignatureException*>(&exception);
        return (special ? "" : "IO: ") + exception.message().toLocal8Bit();
    }
}

/** \brief Puts an entry of somebody else into OpenSSL's error queue. */
class ForeignError
{
public:
    ForeignError()
    {
        ERR_clear_error();
        ERR_raise(ERR_LIB_USER, reason);
    }

    /** Whether it is still the only one. */
    static bool isAlone()
    {
        return ERR_GET_REASON(ERR_get_error()) == reason && ERR_get_error() == 0;
    }

private:
    static constexpr int reason = 4711;
};

#endif
