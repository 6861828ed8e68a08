#ifndef QUARN_PLATFORM_FOLDERLISTING_P_H
#define QUARN_PLATFORM_FOLDERLISTING_P_H

#include <QStringList>

#include <optional>

namespace kel {

/**
 * The names that QDir lists in \a folder, a path of Qt, under QDir::AllEntries and
 * QDir::NoDotAndDotDot, in no order: of visible files, folders and links that lead to one. Nothing
 * where the system knows no shorter way to them than QDir's.
 */
std::optional<QStringList> visibleNames(const QString& folder);

} // namespace kel
#endif
