#include <Quarn/filejobs/FileResult.h>

namespace kel {

QString FileResult::what() const
{
    if (!failures.isEmpty())
        return failures.first().what();
    return cancelled ? QStringLiteral("Cancelled") : QString();
}

} // namespace kel
