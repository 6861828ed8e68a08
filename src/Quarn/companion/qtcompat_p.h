#ifndef QUARN_COMPANION_QTCOMPAT_P_H
#define QUARN_COMPANION_QTCOMPAT_P_H

#include <QFutureInterface>
#include <QMutex>

#include <mutex>

// What Qt 5 and Qt 6 do differently.

namespace kel {

template <typename Result>
QMutex& mutexOf(const QFutureInterface<Result>& promise)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    return promise.mutex(0);
#else
    return promise.mutex();
#endif
}

/**
 * Ends the work behind \a promise with its result. Unlike Qt's own promises, one that was cancelled
 * keeps its result, so that asking for it is defined. Watchers are told, and with Qt 6 continuations
 * run, before this returns.
 */
template <typename Result>
void finish(QFutureInterface<Result>& promise, const Result& result)
{
    {
        const std::lock_guard<QMutex> lock(mutexOf(promise));
        const int index = promise.resultStoreBase().template addResult<Result>(-1, &result);
        promise.reportResultsReady(index, index + 1); // not when cancelled
    }
    promise.reportFinished();
}

} // namespace kel
#endif
