#include <Quarn/companion/kelmObject.h>

kelmObject::~kelmObject() = default;
