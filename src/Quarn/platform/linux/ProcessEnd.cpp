#include <Quarn/platform/ProcessEnd_p.h>

namespace kel {

bool otherThreadsHaveEnded()
{
    return false; // they run until the last static object is destroyed
}

void callBeforeThreadsEnd(void (*)()) { }

} // namespace kel
