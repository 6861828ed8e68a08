#ifndef QUARN_COMPANION_TRANSFERPROGRESS_H
#define QUARN_COMPANION_TRANSFERPROGRESS_H

#include <QtGlobal>

#include <functional>

namespace kel {

/**
 * \brief Is told how many bytes of a transfer are done, and of how many; -1 where nobody knows.
 *
 * Answering false cancels; the call that reports tells how it ends then. What it throws itself goes
 * through to the caller.
 *
 * \par Threads
 * Called in the thread that made the call which reports.
 */
using TransferProgress = std::function<bool(qint64 done, qint64 size)>;

} // namespace kel
#endif
