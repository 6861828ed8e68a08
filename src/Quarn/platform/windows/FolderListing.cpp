#include <Quarn/platform/FolderListing_p.h>

namespace kel {

std::optional<QStringList> visibleNames(const QString&)
{
    return std::nullopt; // QDir gets all that it needs from the system's listing
}

} // namespace kel
