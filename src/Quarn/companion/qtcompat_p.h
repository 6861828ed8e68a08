#ifndef QUARN_COMPANION_QTCOMPAT_P_H
#define QUARN_COMPANION_QTCOMPAT_P_H

#include <QFutureInterface>
#include <QMutex>
#include <QtGlobal>
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QException>
#endif

#include <exception>
#include <mutex>
#include <new>

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

/** The exception that is being handled becomes what \a promise comes to, as far as Qt can do that. */
template <typename Result>
void reportException(QFutureInterface<Result>& promise)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    promise.reportException(QUnhandledException());
#else
    promise.reportException(std::current_exception());
#endif
}

/**
 * Ends the work behind \a promise with its result. Unlike Qt's own promises, one that was cancelled
 * keeps its result, so that asking for it is defined. Watchers are told, and with Qt 6 continuations
 * run, before this returns. Without memory for the result there is an exception instead of it.
 */
template <typename Result>
void finish(QFutureInterface<Result>& promise, const Result& result) noexcept
{
    int index = -1;
    try {
        const std::lock_guard<QMutex> lock(mutexOf(promise));
        index = promise.resultStoreBase().template addResult<Result>(-1, &result);
        promise.reportResultsReady(index, index + 1); // not when cancelled
    } catch (const std::bad_alloc&) {
        try {
            if (index < 0)
                reportException(promise);
        } catch (const std::bad_alloc&) {
            index = -1; // who asks finds neither
        }
    }
    try {
        promise.reportFinished();
    } catch (const std::bad_alloc&) {
        return; // some watcher could not be told
    }
}

} // namespace kel
#endif
