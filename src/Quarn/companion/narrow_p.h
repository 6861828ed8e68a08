#ifndef QUARN_COMPANION_NARROW_P_H
#define QUARN_COMPANION_NARROW_P_H

#include <QtGlobal>

#include <algorithm>
#include <limits>

namespace kel {

/** \a count as an int, bounded to the range of int: a far negative count stays negative. */
constexpr int narrow(qint64 count)
{
    return int(std::clamp<qint64>(count, std::numeric_limits<int>::min(),
                                  std::numeric_limits<int>::max()));
}

} // namespace kel
#endif
