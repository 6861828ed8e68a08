#ifndef QUARN_SIGNATURE_SIGNATUREPROGRESS_H
#define QUARN_SIGNATURE_SIGNATUREPROGRESS_H

#include <QtGlobal>

#include <functional>

namespace kel {

/**
 * \brief Is told how many bytes of the data were read, and of how many; -1 where nobody knows.
 *
 * Answering false cancels: the call that reports then throws SignatureException "Cancelled". What it
 * throws itself goes through to the caller.
 *
 * \par Threads
 * Called in the thread that made the call which reports.
 */
using SignatureProgress = std::function<bool(qint64 done, qint64 size)>;

} // namespace kel
#endif
