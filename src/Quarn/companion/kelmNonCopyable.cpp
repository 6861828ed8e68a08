#include <Quarn/companion/kelmNonCopyable.h>

kelmNonCopyable::~kelmNonCopyable() = default;
