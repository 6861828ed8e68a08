#include "platform/wipe.h"

#include <windows.h>

void wipe(void* data, std::size_t size)
{
    ::SecureZeroMemory(data, size);
}
