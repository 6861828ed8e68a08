#ifndef QUARN_MULTIUSER_READERCALL_P_H
#define QUARN_MULTIUSER_READERCALL_P_H

#include <Quarn/multiuser/WriteProgress_p.h>

#include <functional>
#include <memory>
#include <mutex>

class QObject;
class QThread;

namespace kel {

/**
 * \brief Tells a reader in any thread of each write once, with at most one call on its way to it.
 *
 * A reader in the buffer's thread is told by the emission of bytesWritten(), as an automatic
 * connection would. A reader in another thread is told by the write itself, which has the reader's
 * event loop call; writes that follow are added to a call that hasn't begun. The emission then has
 * nothing to tell it, unless the call got lost or the reader has changed its thread.
 *
 * No write is missed: a writer raises WriteProgress::written before it looks whether a call is on its
 * way, and the call resets that mark before it looks how much was written. All four are sequentially
 * consistent, so that at least one of the two sees what the other did.
 */
class ReaderCall : public std::enable_shared_from_this<ReaderCall>
{
public:
    using Function = std::function<void(qint64 count)>;

    /** Calls \a function in the thread of \a reader. */
    ReaderCall(QObject* reader, Function function);
    ReaderCall(const ReaderCall&) = delete;
    ReaderCall& operator=(const ReaderCall&) = delete;

    /** To be called once, before others know this: what is not emitted yet will be told. */
    void follow(std::shared_ptr<const WriteProgress> progress);

    /** After a write to a buffer that lives in \a home. Any thread; short of memory it does nothing. */
    void written(const QThread* home) noexcept;

    /** In an emission: calls at once if the reader lives in this thread, else posts. */
    void emitted();

    /** What emitted() does for others, for a reader that the emission doesn't reach. Any thread. */
    void postEmitted() noexcept;

    // In the reader's thread:

    /** Whether a call is on its way that has something to tell. */
    bool pending() const;

    /** Makes the call that is on its way now; it has nothing to tell when it comes. */
    void hasten();

    /** Calls if anything was written, even if no call is on its way. */
    void tell();

    /**
     * To be called when the reader ends: it gets no further calls. Returns an object that keeps Qt's
     * record of the reader's thread as long as it lives, and that may be deleted in any thread.
     */
    std::unique_ptr<QObject> readerEnds();

private:
    class Posted;
    class Receiver;

    bool readerLivesHere();
    void post();
    void tellUpTo(qint64 position);

    const Function m_function;
    std::shared_ptr<const WriteProgress> m_progress; // set before others know this
    std::mutex m_mutex; // guards m_receiver, also while Qt posts to it; nothing is called under it
    Receiver* m_receiver; // a child of the reader; null once it ends
    std::atomic<bool> m_posted{false}; // a call is on its way that hasn't begun
    std::atomic<qint64> m_told{0}; // up to where; only the reader's thread changes it
};

} // namespace kel
#endif
