#ifndef QUARN_COMPANION_PROMISE_P_H
#define QUARN_COMPANION_PROMISE_P_H

#include <QFuture>
#include <QFutureInterface>
#include <QMutex>
#include <QtGlobal>

#include <memory>
#include <mutex>
#include <new>

namespace kel {

/**
 * \brief The promise of one result, which is kept without memory, too, and when it was cancelled.
 *
 * Qt's own promises take memory for their result when it comes. Without one, not even the exception
 * in its place is safe: QFuture::result() may miss it, and takes a result that isn't there.
 */
template <typename Result>
class Promise
{
public:
    Promise()
    {
        auto result = std::make_unique<Result>();
        m_prepared.addResult(0, static_cast<const void*>(result.get()));
        m_result = result.release();
        m_promise.reportStarted();
    }
    Promise(Promise&& other) noexcept
        : m_promise(other.m_promise), m_prepared(other.m_prepared), m_result(other.m_result)
    {
        other.m_prepared = Store(); // a store that goes has to be empty
    }
    Promise(const Promise&) = delete;
    Promise& operator=(const Promise&) = delete;
    ~Promise() { m_prepared.template clear<Result>(); }

    QFuture<Result> future() { return m_promise.future(); }
    bool isCanceled() const { return m_promise.isCanceled(); }

    /** Once. Watchers are told, and with Qt 6 continuations run, before this returns. */
    void finish(const Result& result) noexcept
    {
        *m_result = result;
        try {
            const std::lock_guard<QMutex> lock(mutex());
            m_promise.resultStoreBase() = m_prepared;
            m_prepared = Store();
            m_promise.reportResultsReady(0, 1); // not when cancelled
        } catch (const std::bad_alloc&) { } // some watcher could not be told
        try {
            m_promise.reportFinished();
        } catch (const std::bad_alloc&) { }
    }

private:
    using Store = QtPrivate::ResultStoreBase;

    QMutex& mutex() const
    {
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
        return m_promise.mutex(0);
#else
        return m_promise.mutex();
#endif
    }

    QFutureInterface<Result> m_promise;
    Store m_prepared; // as it is to be in the end
    Result* m_result; // there
};

} // namespace kel
#endif
