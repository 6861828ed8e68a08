#ifndef QUARN_COMPANION_PROMISE_P_H
#define QUARN_COMPANION_PROMISE_P_H

#include <QFuture>
#include <QFutureInterface>
#include <QMutex>
#include <QtGlobal>

#include <memory>
#include <mutex>
#include <new>
#include <utility>

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
        m_prepared->store.addResult(0, static_cast<const void*>(result.get()));
        m_prepared->result = result.release();
        m_promise.reportStarted();
    }
    Promise(Promise&& other) noexcept
        : m_promise(std::move(other.m_promise)), m_prepared(std::move(other.m_prepared))
    { }
    Promise& operator=(Promise&&) = delete;
    ~Promise() = default;

    QFuture<Result> future() { return m_promise.future(); }
    bool isCanceled() const { return m_promise.isCanceled(); }

    /** Once. Watchers are told, and with Qt 6 continuations run, before this returns. */
    void finish(const Result& result) noexcept
    {
        *m_prepared->result = result;
        try {
            const std::lock_guard<QMutex> lock(mutex());
            m_promise.resultStoreBase() = m_prepared->store;
            m_prepared->store = Store(); // a store that goes has to be empty
            m_promise.reportResultsReady(0, 1); // not when cancelled
        } catch (const std::bad_alloc&) { } // some watcher could not be told
        try {
            m_promise.reportFinished();
        } catch (const std::bad_alloc&) { }
    }

private:
    using Store = QtPrivate::ResultStoreBase;

    struct Prepared
    {
        ~Prepared()
        {
            if (!result)
                store = Store(); // without memory it may hold what isn't its own
            store.template clear<Result>();
        }

        Store store;
        Result* result = nullptr; // the store's
    };

    QMutex& mutex() const
    {
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
        return m_promise.mutex(0);
#else
        return m_promise.mutex();
#endif
    }

    QFutureInterface<Result> m_promise;
    std::unique_ptr<Prepared> m_prepared = std::make_unique<Prepared>();
};

} // namespace kel
#endif
