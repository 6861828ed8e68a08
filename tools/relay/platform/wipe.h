#ifndef RELAY_PLATFORM_WIPE_H
#define RELAY_PLATFORM_WIPE_H

#include <cstddef>

/** Overwrites the \a size bytes at \a data, also when nobody reads them any more. */
void wipe(void* data, std::size_t size);

#endif
