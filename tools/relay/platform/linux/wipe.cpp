#include "platform/wipe.h"

#include <cstring>

void wipe(void* data, std::size_t size)
{
    ::explicit_bzero(data, size);
}
