#ifndef QUARN_PLATFORM_FOLDERLISTING_P_H
#define QUARN_PLATFORM_FOLDERLISTING_P_H

#include <QStringList>

#include <optional>

namespace kel {

/**
 * The names that QDir lists in \a folder under QDir::AllEntries and QDir::NoDotAndDotDot, in no
 * order: of visible files, folders and links that lead to one. Any path of Qt will do; one without
 * a form for the system has none.
 */
QStringList visibleNames(const QString& folder);

/** The same straight from the system; nothing where it knows no shorter way than QDir's. */
std::optional<QStringList> visibleNamesOfSystem(const QString& folder);

} // namespace kel
#endif
