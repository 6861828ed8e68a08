#ifndef RELAY_TRUST_H
#define RELAY_TRUST_H

#include <Quarn/signature/PublicKey.h>

struct Options;

/**
 * The key that signatures are checked with: the one given or, once it is trusted, that of the
 * certificate. Throws kel::IOException with a message for the user.
 */
kel::PublicKey trustedKey(const Options& options);

#endif
