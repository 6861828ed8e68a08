#ifndef QUARN_MULTIUSER_READERCALL_P_H
#define QUARN_MULTIUSER_READERCALL_P_H

#include <QtGlobal>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

class QObject;

namespace kel {

/**
 * \brief Tells a reader in any thread of new bytes, with at most one call on its way to it.
 *
 * An automatic connection posts a call for each emission, and a reader in another thread works
 * them all off, however many writes the first of them stood for already. So the signal is
 * connected directly to this, which calls as an automatic connection would, but adds an emission
 * to the call that waits for the reader, if there is one.
 */
class ReaderCall : public std::enable_shared_from_this<ReaderCall>
{
public:
    using Function = std::function<void(qint64 count)>;

    /** Calls \a function in the thread of \a reader. */
    ReaderCall(QObject* reader, Function function);
    ReaderCall(const ReaderCall&) = delete;
    ReaderCall& operator=(const ReaderCall&) = delete;

    /** Calls at once if the reader lives in this thread, else posts. Any thread. */
    void callOrPost(qint64 count);

    /** Has the reader's event loop call. Any thread. */
    void post(qint64 count);

    /** To be called when the reader ends, in its thread: it gets no further calls. */
    void readerEnds();

private:
    class Posted;

    bool readerLivesHere();
    void deliver();

    const Function m_function;
    std::mutex m_mutex; // guards m_reader, also while Qt posts to it; nothing is called under it
    QObject* m_reader; // null once it ends
    std::atomic<bool> m_posted{false}; // a call is on its way that hasn't begun
    std::atomic<qint64> m_count{0}; // what it is going to be called with
};

} // namespace kel
#endif
