#ifndef QUARN_FILEJOBS_OPERATIONS_P_H
#define QUARN_FILEJOBS_OPERATIONS_P_H

#include <Quarn/filejobs/FindOptions.h>
#include <Quarn/filejobs/TransferOptions.h>
#include <Quarn/filejobs/WorkLog_p.h>

#include <QStringList>

#include <functional>

namespace kel {

// The work of FileOperations and of the jobs; what becomes of it stands in the log.

void copyEntries(const QStringList& sources, const QString& folder, const TransferOptions& options,
                 WorkLog& log);
void moveEntries(const QStringList& sources, const QString& folder, const TransferOptions& options,
                 WorkLog& log);
void removeEntries(const QStringList& paths, WorkLog& log);
void trashEntries(const QStringList& paths, WorkLog& log);
void measureEntries(const QStringList& paths, WorkLog& log);
void findEntries(const QString& folder, const FindOptions& options,
                 const std::function<void(const QString&)>& found, WorkLog& log);

} // namespace kel
#endif
